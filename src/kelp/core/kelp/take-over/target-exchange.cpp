#include "kelp/core/kelp/take-over/target-exchange.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/publication/publication.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

constexpr std::string_view namePrefix = ".kelp-";
constexpr std::size_t digestLength = 12;

MappingMode modeOf(const JournalEntry &entry, const fs::path &tree) {
    const auto subgroup = valueOf(entry.extras, "certificate.subgroup");
    return publicationMode(tree, mappingsOf(entry, Rooted::Yes), subgroup.value_or(""));
}

/// If rpm had a file at the target, it was changed; otherwise the file there is foreign.
Error obstacleAt(const JournalledTarget &target) {
    if (target.file)
        return {ErrorCode::Internal, target.path + " changed while it was taken over"};
    return {ErrorCode::FileConflict, "Attempt to overwrite existing file using mapping: " + target.path};
}

} // namespace

bool isTemporaryName(const std::string &name) {
    constexpr std::string_view digits = "0123456789abcdef";
    const std::size_t end = namePrefix.size() + digestLength;
    return name.starts_with(namePrefix) && name.size() > end + 1 && name[end] == '-' &&
           name.find_first_not_of(digits, namePrefix.size()) == end &&
           name.find_first_not_of(digits.substr(0, 10), end + 1) == std::string::npos;
}

TargetExchange::TargetExchange(const JournalEntry &entry, fs::path tree, fs::path current,
                               Common::IdentityComparison &identities) :
    entry_(&entry),
    tree_(std::move(tree)),
    current_(std::move(current)),
    identities_(&identities),
    mode_(modeOf(entry, tree_)),
    prefix_(std::string(namePrefix) + Common::Rpm::sha256Of(entry.id).substr(0, digestLength) + "-") {}

std::string TargetExchange::source(const JournalledTarget &target) const {
    return current_.native() + "/" + target.source;
}

std::string TargetExchange::temporaryName(std::size_t number) const {
    return prefix_ + std::to_string(number);
}

bool TargetExchange::isRpms(const struct stat &status, const JournalledTarget &target) const {
    if (!target.file)
        return false;
    const JournalledFile file = entry_->files[*target.file];
    if (file.identity && identities_->isSame(*file.identity, Common::identityOf(status)))
        return true;
    // It may have been written to since: a file that is linked in the tree is still the same.
    struct stat staged = {};
    return file.isLinked && ::lstat((tree_ / target.source).c_str(), &staged) == 0 &&
           staged.st_dev == status.st_dev && staged.st_ino == status.st_ino;
}

/// A copied link of the package has no attribute, but the text of the one in the tree.
bool TargetExchange::isOurs(const fs::path &place, bool isLink, const JournalledTarget &target) const {
    const auto leads = findMapping(place);
    return leads && (*leads == source(target) ||
                     (isLink && mode_ == MappingMode::Copy && leads == findMapping(tree_ / target.source)));
}

TargetExchange::Occupant TargetExchange::occupant(const Spot &spot, const std::string &name) const {
    struct stat status = {};
    if (!spot.parent.look(name, status))
        return Occupant::Nothing;
    if (isRpms(status, spot.target))
        return Occupant::Rpms;
    return isOurs(spot.parent.reach(name), S_ISLNK(status.st_mode), spot.target) ? Occupant::Ours
                                                                                 : Occupant::Somebodys;
}

/// The targets whose directories are there. Neighbours share the open directory.
void TargetExchange::forEachTarget(const std::function<void(const Spot &)> &use) const {
    std::optional<Directory> parent;
    std::string last;
    std::exception_ptr failure;
    for (std::size_t number = 0; number < entry_->targets.size(); ++number) {
        const JournalledTarget target = entry_->targets[number];
        const std::size_t nameBegin = target.path.rfind('/') + 1;
        try {
            if (std::string directory = target.path.substr(0, nameBegin); directory != last) {
                last.clear();
                parent = Directory::byLinksOfRoot(fs::path(directory).parent_path());
                last = std::move(directory);
            }
            if (parent)
                use({target, *parent, target.path.substr(nameBegin), temporaryName(number)});
        } catch (const std::exception &error) {
            LogStream(LogLevel::Error) << error;
            failure = failure ? failure : std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

void TargetExchange::publish(Obstacles obstacles) {
    published_.clear();
    MappingMaker maker(mode_);
    for (std::size_t number = 0; number < entry_->targets.size(); ++number) {
        const auto obstacle = publishOne(maker, number);
        if (!obstacle)
            published_.push_back(entry_->targets[number].path);
        else if (obstacles == Obstacles::Raise)
            throw *obstacle;
        else
            LogStream(LogLevel::Error) << *obstacle;
    }
}

TargetExchange::Spot TargetExchange::enter(MappingMaker &maker, std::size_t number) const {
    const JournalledTarget target = entry_->targets[number];
    return {target, maker.enter(source(target), target.path), target.path.substr(target.path.rfind('/') + 1),
            temporaryName(number)};
}

/// The entry at a target, before the store's file comes there.
TargetExchange::Occupant TargetExchange::judge(const Spot &spot) const {
    const Occupant found = occupant(spot, spot.name);
    // A dangling link may go, unless rpm had a file there.
    const bool isFree = found == Occupant::Somebodys && !spot.target.file &&
                        removeIfBroken(spot.target.path, spot.parent, spot.name);
    return isFree ? Occupant::Nothing : found;
}

bool TargetExchange::prepare() {
    if (mode_ != MappingMode::Copy)
        return false;
    MappingMaker maker(mode_);
    bool isAnyMade = false;
    for (std::size_t number = 0; number < entry_->targets.size(); ++number) {
        const Spot spot = enter(maker, number);
        const Occupant found = judge(spot);
        if (found == Occupant::Ours || found == Occupant::Somebodys)
            continue;
        maker.makeBeside(source(spot.target), spot.target.path, spot.temporary);
        isAnyMade = true;
    }
    return isAnyMade;
}

std::optional<Error> TargetExchange::publishOne(MappingMaker &maker, std::size_t number) {
    const Spot spot = enter(maker, number);
    const Occupant found = judge(spot);
    if (found == Occupant::Ours)
        return std::nullopt;
    if (found == Occupant::Somebodys) {
        spot.parent.removeFile(spot.temporary);
        return obstacleAt(spot.target);
    }
    // After a later kill the next start removes our file under the temporary name.
    if (mode_ == MappingMode::Link || occupant(spot, spot.temporary) != Occupant::Ours)
        maker.makeBeside(source(spot.target), spot.target.path, spot.temporary);
    return bringIn(spot, found == Occupant::Nothing);
}

/// Checks the file that came out: another may have appeared between the look and the exchange.
std::optional<Error> TargetExchange::bringIn(const Spot &spot, bool isFree) const {
    if (isFree) {
        if (spot.parent.move(spot.temporary, spot.parent, spot.name))
            return std::nullopt;
    } else if (!spot.parent.exchange(spot.temporary, spot.name)) {
        spot.parent.removeFile(spot.temporary);
        throw Error(ErrorCode::FileConflict,
                    "Two files cannot be exchanged on the filesystem of " + spot.target.path);
    } else if (occupant(spot, spot.temporary) == Occupant::Rpms) {
        return std::nullopt;
    } else {
        exchangeBack(spot);
    }
    spot.parent.removeFile(spot.temporary);
    return obstacleAt(spot.target);
}

void TargetExchange::takeBack() {
    forEachTarget([&](const Spot &spot) { returnOne(spot, spot.target.file.has_value()); });
}

void TargetExchange::giveBack(const std::function<bool(const std::string &path)> &isListed) {
    forEachTarget([&](const Spot &spot) { returnOne(spot, isListed(spot.target.path)); });
}

/// Each step leaves rpm's file or ours at a listed target. After a kill the next start repeats it.
void TargetExchange::returnOne(const Spot &spot, bool isListed) const {
    settleName(spot, true);
    if (occupant(spot, spot.name) != Occupant::Ours)
        return;
    const bool hasRpms = occupant(spot, spot.temporary) == Occupant::Rpms;
    if (!isListed)
        spot.parent.removeFile(spot.name);
    else if (!hasRpms && !Common::lookFor(tree_ / spot.target.source))
        return removeDead(spot);
    else {
        if (!hasRpms)
            makeFromTree(spot);
        exchangeBack(spot);
    }
    spot.parent.removeFile(spot.temporary);
}

/// Somebody has removed the tree, and rpm's file was cleared before. A copy stays: it is the last one.
void TargetExchange::removeDead(const Spot &spot) const {
    struct stat status = {};
    if (spot.parent.look(spot.name, status) && S_ISLNK(status.st_mode))
        spot.parent.removeFile(spot.name);
}

/// If another file has appeared there again, that one stays.
void TargetExchange::exchangeBack(const Spot &spot) const {
    if (!spot.parent.exchange(spot.temporary, spot.name))
        throw Error(ErrorCode::Filesystem, "Couldn't exchange " + spot.target.path);
    if (occupant(spot, spot.temporary) == Occupant::Ours)
        return;
    spot.parent.exchange(spot.temporary, spot.name);
    throw obstacleAt(spot.target);
}

/// Restores a missing file of rpm's from the tree, which has it or its copy. Flushed before the exchange: a
/// target must not lose its content to a power cut.
void TargetExchange::makeFromTree(const Spot &spot) const {
    const fs::path staged = tree_ / spot.target.source;
    if (!Common::isSymlink(staged)) {
        Common::copyInOneStep(staged, spot.parent, spot.temporary, Common::flushFile);
        return;
    }
    fs::path text = Common::readSymlink(staged);
    // A link into the version is made to lead to the published file instead.
    for (const JournalledTarget other : entry_->targets)
        if (text.is_absolute() && text.native().ends_with("/" + entry_->version + "/" + other.source))
            text = other.path;
    spot.parent.makeLink(text, spot.temporary);
}

void TargetExchange::settleNames(bool keepsRpms) {
    forEachTarget([&](const Spot &spot) { settleName(spot, keepsRpms); });
}

void TargetExchange::settleName(const Spot &spot, bool keepsRpms) const {
    // A killed copy left it. Looked for first: on a read-only disk the removal fails even when nothing is
    // there.
    if (occupant(spot, Common::unfinishedCopyName) != Occupant::Nothing)
        spot.parent.removeFile(Common::unfinishedCopyName);
    const Occupant beside = occupant(spot, spot.temporary);
    if (beside == Occupant::Nothing)
        return;
    const Occupant found = occupant(spot, spot.name);
    if (beside != Occupant::Ours && found == Occupant::Nothing)
        spot.parent.move(spot.temporary, spot.parent, spot.name);
    else if (beside == Occupant::Rpms && found == Occupant::Ours && keepsRpms)
        return;
    else if (beside != Occupant::Ours && found == Occupant::Ours)
        // A kill came between an exchange and the check of the file that came out.
        exchangeBack(spot);
    struct stat status = {};
    // Without its tree, our copy of a package's link cannot be told from somebody's link.
    if (occupant(spot, spot.temporary) == Occupant::Somebodys && spot.parent.look(spot.temporary, status) &&
        S_ISREG(status.st_mode))
        keepSomebodys(spot);
    else
        spot.parent.removeFile(spot.temporary);
}

/// Nobody would look for the temporary name.
void TargetExchange::keepSomebodys(const Spot &spot) const {
    std::string kept = spot.name + ".rpmsave";
    for (int number = 1; !spot.parent.move(spot.temporary, spot.parent, kept); ++number)
        kept = spot.name + ".rpmsave." + std::to_string(number);
    LogStream(LogLevel::Warning) << "The file of " << fs::path(spot.target.path)
                                 << " was written to while it was taken over: see " << kept;
}

void TargetExchange::clear() {
    forEachTarget([&](const Spot &spot) {
        const Occupant beside = occupant(spot, spot.temporary);
        if (beside == Occupant::Somebodys)
            keepSomebodys(spot);
        else if (beside != Occupant::Nothing)
            spot.parent.removeFile(spot.temporary);
    });
}

} // namespace Core::KELP
