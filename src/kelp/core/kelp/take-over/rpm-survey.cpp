#include "kelp/core/kelp/take-over/rpm-survey.h"
#include "kelp/core/kelp/desktop-file/desktop-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/i-database.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/package-outline.h"
#include "kelp/core/kelp/take-over/target-exchange.h"

#include "platform/app-manifest/manifest-entry.h"
#include "platform/package-signatures/database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::LogLevel;
using Common::LogStream;
using Common::Rpm::FileIterator;
using Common::Rpm::InstalledFiles;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;
using PackageSignatures::Certificate;
using PackageSignatures::Group;

namespace Tag = Common::Rpm::Tag;

constexpr std::uint64_t blockSize = 4096;

struct Identity {
    std::string id;
    std::string version;
    std::string architecture;
};

/// A record that lacks one of these, as those of rpm's own keys do, is none that could be taken over.
Identity readIdentity(const Reader &reader) {
    Identity identity;
    identity.id = reader.tag(Tag::Name);
    const std::string release = reader.tag(Tag::Release);
    identity.version = reader.tag(Tag::Version) + "-" + release;
    identity.architecture = reader.tag(Tag::Architecture);
    return identity;
}

/// Logs why a package's data cannot be had.
template<class Read>
auto unlessUnreadable(const Read &read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        LogStream(LogLevel::Warning) << "Couldn't extract a package information required for migration";
        return std::nullopt;
    }
}

std::vector<RpmPackage::FileEntry> readFiles(const Reader &reader) {
    std::vector<RpmPackage::FileEntry> files;
    const auto append = [&](const FileIterator::Entry &entry) {
        files.push_back(entry);
        return false;
    };
    // Every name of a file that has several: with rpm's erasure all of them go.
    FileIterator(reader).forEach(append, FileIterator::Names::All);
    return files;
}

struct Names {
    std::optional<std::string> organisation;
    std::optional<std::string> application;
};

/// From the running system, as everything that rpm's records name, whatever the root prefix is.
Names namesOf(const std::string &id) {
    const std::string path = "/usr/share/applications/" + id + ".desktop";
    const auto manifest = readDesktopFile(path);
    struct stat status = {};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    if (!manifest && (isThere ? !S_ISREG(status.st_mode) : errno != ENOENT))
        throw Common::Error(Common::ErrorCode::Filesystem, path + " is not a file", isThere ? EISDIR : errno);
    return manifest
               ? Names{Common::asFileName(manifest->appOrgname()), Common::asFileName(manifest->appName())}
               : Names();
}

RpmPackage describe(const Reader &reader, const Identity &identity, const Certificate &certificate,
                    const Names &names) {
    auto [orgName, appName] = names;
    auto mappings = buildMappings(identity.id, certificate.keyId(), orgName, appName, Rooted::No);
    return RpmPackage(identity.id, identity.version, identity.architecture, {}, {}, std::move(orgName),
                      std::move(appName), std::move(mappings), {}, readFiles(reader));
}

JournalEntry makeEntry(const Reader &reader, const RpmPackage &package, const Certificate &certificate) {
    JournalEntry entry;
    entry.id = package.id();
    entry.version = package.version();
    entry.orgName = package.orgName();
    entry.appName = package.appName();
    entry.extras = {{"certificate.subgroup", PackageSignatures::subgroupToString(certificate.subgroup())},
                    {"certificate.id", certificate.keyId()}};
    entry.digest = headerDigest(reader);
    entry.instance = Common::Rpm::databaseInstance(reader);
    return entry;
}

/// In blocks, and never none: an empty file takes space for its name and its inode.
std::uint64_t onDisk(std::uint64_t size) {
    return (size / blockSize + 1) * blockSize;
}

/// Whether the tree will have a further name of the file, which takes no space (stageInstalledPackage()).
/// What turns out to need a copy all the same waits for room.
bool canBeLinked(const struct stat &status, std::uint64_t stagingDevice) {
    return status.st_dev == stagingDevice && status.st_uid == ::geteuid() && status.st_gid == ::getegid() &&
           (status.st_mode & (S_ISUID | S_ISGID)) == 0 && status.st_nlink == 1;
}

/// What the tree takes: the record's word counts as well as the disk's, for who lies small must not fill the
/// disk, and a sparse file is not copied as one.
std::uint64_t bytesOf(const RpmPackage &package, const InstalledFiles &record, std::uint64_t stagingDevice) {
    std::uint64_t bytes = 0;
    for (const RpmPackage::FileEntry &entry : package.files()) {
        struct stat status = {};
        // Through a link: what it leads to may be what is copied.
        const bool stands = ::stat(entry.path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
        const bool isFile = std::holds_alternative<Common::Rpm::RegularFile>(entry.kind);
        const std::uint64_t found = stands ? static_cast<std::uint64_t>(status.st_size) : 0;
        bytes += isFile && !(stands && canBeLinked(status, stagingDevice))
                     ? onDisk(std::max(record.size(entry.fileIndex), found))
                     : blockSize;
    }
    return bytes;
}

/// A path that a list or a log could not hold, or a name that the exchange of files needs for itself.
std::optional<std::string> nameObjection(const std::string &target) {
    const auto isControl = [](unsigned char character) { return character < 0x20 || character == 0x7f; };
    if (std::ranges::any_of(target, isControl))
        return "it publishes a path with a control character";
    if (isTemporaryName(fs::path(target).filename()))
        return target + " has a name that the take-over uses itself";
    return std::nullopt;
}

struct Failure {
    std::string reason;
    bool isJudgement;
};

template<class Step>
std::optional<Failure> failureOf(const Step &step) {
    try {
        step();
        return std::nullopt;
    } catch (const UnknownPlace &) {
        throw; // What one application claims would count as free for the others.
    } catch (const std::exception &error) {
        // Where a link on the way is not root's, its owner may take it away again.
        const auto *system = dynamic_cast<const std::system_error *>(&error);
        const bool isOfMachine = system && Common::Directory::isRefusal(*system);
        return Failure{error.what(), !isOfMachine && isJudgement(Common::systemErrorOf(error))};
    }
}

/// Has the application stay for what could not be done with it.
void stayFor(const std::optional<Failure> &failure, RpmCandidate &candidate) {
    if (!failure || candidate.stays)
        return;
    candidate.stays = failure->reason;
    candidate.isJudged = failure->isJudgement;
}

/// Whoever was not seen would stay for good, and what it owns would count as nobody's.
void requireNotCut(Transaction::Walk walk) {
    if (walk == Transaction::Walk::Cut)
        throw Common::Error(Common::ErrorCode::Internal, "Couldn't read the rpm database");
}

/// A tree that was made of this application's files when they were all there may be the only copy by now.
void requireNothingLost(const Reader &record, const Identity &identity, const std::vector<LeftTree> &left) {
    for (const LeftTree &tree : left)
        if (tree.isOf(identity.id) && tree.holdsMissingFile(record))
            throw Common::Error(Common::ErrorCode::Internal,
                                "files that it lacks are kept in " + tree.path().string());
}

RpmCandidate candidateOf(const Reader &reader, RpmPackage package, const Certificate &certificate,
                         std::uint64_t stagingDevice) {
    const InstalledFiles record(reader);
    JournalEntry entry = makeEntry(reader, package, certificate);
    const std::uint64_t bytes = bytesOf(package, record, stagingDevice);
    for (const RpmPackage::FileEntry &file : package.files())
        // What rpm will take away. It leaves directories that hold anything, and what it never put there.
        if (!record.isDirectory(file.fileIndex) && record.isInstalled(file.fileIndex))
            entry.files.push_back({file.path, {}, false, false});
    return {std::move(package), std::move(entry), bytes, {}, false, {}, true};
}

/// Whether rpm's file is by now one that the store published.
bool isPublishedBy(const fs::path &file, const fs::path &current) {
    try {
        return mappingTarget(file).native().starts_with(current.native() + "/");
    } catch (const std::exception &) {
        return false;
    }
}

/// What cannot be looked at is not free.
bool isThere(const fs::path &target, struct stat &status) {
    if (::lstat(target.c_str(), &status) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    throw Common::Error(Common::ErrorCode::Filesystem, target.string() + ": " + std::strerror(errno), errno);
}

/// A link that leads nowhere is replaced when the file is published, whoever made it.
bool isFree(const fs::path &target) {
    return !Common::exists(target) && isMapping(target);
}

std::string claimants(const std::vector<RpmCandidate *> &candidates) {
    std::string ids;
    for (const RpmCandidate *candidate : candidates)
        ids += (ids.empty() ? "" : " and ") + candidate->package.id();
    return ids;
}

} // namespace

/// Packages of old have SHA-1 alone. Of one that has neither, its place in the database has to do.
std::string headerDigest(const Reader &reader) {
    return reader.tagOr(Tag::Sha256Header, reader.tagOr(Tag::Sha1Header, ""));
}

RpmSurvey::RpmSurvey(const Transaction &rpm, const InstalledVersion &installedVersion,
                     const IDatabasePathResolver &pathResolver, const std::set<std::string> &exceptIds,
                     const std::vector<LeftTree> &left, std::uint64_t stagingDevice) :
    rpm_(&rpm), stagingDevice_(stagingDevice) {
    const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
    const auto walk =
        rpm.forEachInstalled([&](const Reader &reader) { readRecord(reader, signatures, exceptIds, left); });
    requireNotCut(walk);
    isDamaged_ = walk == Transaction::Walk::Damaged;
    // Each walk uses what the one before has gathered of all: owners of files, owners outside, then targets.
    for (const auto &candidate : candidates_) {
        // One descriptor that the disk does not give must not keep every other application in rpm.
        stayFor(failureOf([&] { judgeAlone(*candidate, installedVersion, pathResolver); }), *candidate);
    }
    findForeignOwners(rpm);
    for (const auto &candidate : candidates_)
        judgeTargets(*candidate);
    spread();
}

void RpmSurvey::readRecord(const Reader &reader, const PackageSignatures::Database &signatures,
                           const std::set<std::string> &exceptIds, const std::vector<LeftTree> &left) {
    const auto identity = unlessUnreadable([&] { return readIdentity(reader); });
    if (!identity)
        return;
    // Before anything is left out: a second record of the name matters whatever becomes of that one.
    ++records_[identity->id];
    if (exceptIds.contains(identity->id))
        return;
    const auto certificate = signatures.packageCertificateWithGroup(identity->id, Group::Developer);
    if (!certificate) {
        items_.push_back({identity->id, nullptr});
        return;
    }
    // Without a word: such a package was never meant to leave rpm.
    if (certificate->isSystemDeveloperCertificate())
        return;
    Names names;
    const auto failure = failureOf([&] { names = namesOf(identity->id); });
    auto candidate = unlessUnreadable([&] {
        return candidateOf(reader, describe(reader, *identity, *certificate, names), *certificate,
                           stagingDevice_);
    });
    if (!candidate)
        return;
    // Without its names its organisation's data would be left behind.
    stayFor(failure, *candidate);
    stayFor(failureOf([&] { requireNothingLost(reader, *identity, left); }), *candidate);
    candidates_.push_back(std::make_unique<RpmCandidate>(std::move(*candidate)));
    items_.push_back({identity->id, candidates_.back().get()});
}

void RpmSurvey::judgeAlone(RpmCandidate &candidate, const InstalledVersion &installedVersion,
                           const IDatabasePathResolver &pathResolver) {
    JournalEntry &entry = candidate.entry;
    for (const JournalledFile &file : entry.files) {
        candidate.files.push_back(places_.find(file.path));
        owners_[candidate.files.back()].push_back(&candidate);
    }
    if (candidate.stays)
        return;
    // First of all: the questions behind it make paths of the two.
    if (!Common::isFileName(entry.id) || !Common::isFileName(entry.version)) {
        candidate.stays = "its name or version cannot name a directory";
    } else if (records_[entry.id] > 1) {
        // The store has one directory for both.
        candidate.stays = "rpm holds it more than once";
    } else if (std::string objection = StoreEntry(pathResolver, entry.id).objectionTo(entry.version);
               !objection.empty()) {
        candidate.stays = std::move(objection);
    } else if (const auto installed = installedVersion(entry.id)) {
        judgeStored(candidate, *installed, pathResolver);
    } else if (const auto foreign = StoreEntry(pathResolver, entry.id).content().foreign; !foreign.empty()) {
        // What a failure gives back to rpm leaves the store as a whole.
        candidate.stays =
            (pathResolver.packageDirectory(entry.id) / foreign.front()).string() + " is somebody else's";
    } else {
        const PackageOutline outline(candidate.package,
                                     fs::absolute(pathResolver.versionDirectory(entry.id, entry.version)));
        const auto mappings = buildMappings(entry.id, entry.extras.at("certificate.id"), entry.orgName,
                                            entry.appName, Rooted::Yes);
        candidate.stays = outline.objection(mappings);
        // Of one that stays as well: what it claims is not free for others.
        targets_[&candidate] = outline.targets(mappings);
        for (const std::string &target : targets_[&candidate]) {
            if (!candidate.stays)
                candidate.stays = nameObjection(target);
            claims_[places_.find(fs::absolute(target))].push_back(&candidate);
        }
    }
}

/// A record that outlived the take-over of its package, as after a power cut that undid rpm's last step.
void RpmSurvey::judgeStored(RpmCandidate &candidate, const std::string &installed,
                            const IDatabasePathResolver &pathResolver) {
    const JournalEntry &entry = candidate.entry;
    const fs::path current = fs::absolute(pathResolver.currentDirectory(entry.id));
    const auto isOurs = [&](const JournalledFile &file) {
        return !Common::identityAt(file.path) || isPublishedBy(file.path, current);
    };
    if (installed != entry.version)
        candidate.stays = "the store holds version " + installed;
    else if (!std::ranges::all_of(entry.files, isOurs))
        // The record goes without its files: one that is nobody's would be left for good.
        candidate.stays = "the store holds this version, and not all of the files are the store's";
    else
        candidate.isInStore = true;
}

void RpmSurvey::findForeignOwners(const Transaction &rpm) {
    std::set<PlaceOnDisk> directories;
    for (const auto &[place, ignored] : owners_)
        directories.insert({place.device, place.inode, ""});
    if (directories.empty())
        return;
    std::set<std::uint32_t> instances;
    for (const auto &candidate : candidates_)
        instances.insert(candidate->entry.instance);
    requireNotCut(rpm.forEachInstalled([&](const Reader &reader) {
        if (!instances.contains(Common::Rpm::databaseInstance(reader)))
            markForeign(reader, directories);
    }));
}

void RpmSurvey::markForeign(const Reader &reader, const std::set<PlaceOnDisk> &directories) {
    const auto record = unlessUnreadable([&] { return InstalledFiles(reader); });
    if (!record)
        return;
    std::vector<std::optional<PlaceOnDisk>> interesting;
    for (int i = 0; i < record->directoryCount(); ++i) {
        PlaceOnDisk place = placeOfDirectory(record->directory(i));
        // A machine has hundreds of thousands of files and few directories that matter here.
        interesting.push_back(directories.contains(place) ? std::optional(std::move(place)) : std::nullopt);
    }
    for (int i = 0; i < record->count(); ++i) {
        const auto &directory = interesting.at(static_cast<std::size_t>(record->directoryOf(i)));
        if (!directory || !record->isInstalled(i) || record->isDirectory(i))
            continue;
        PlaceOnDisk place = *directory;
        place.below = "/" + std::string(record->name(i));
        if (owners_.contains(place))
            foreign_.emplace(std::move(place), reader.tagOr(Tag::Name, "another package"));
    }
}

void RpmSurvey::judgeTargets(RpmCandidate &candidate) {
    for (std::size_t i = 0; i < candidate.files.size(); ++i) {
        // rpm leaves it to the other package, in the way of what would be published.
        const auto foreign = foreign_.find(candidate.files[i]);
        if (foreign != foreign_.end() && !candidate.stays)
            candidate.stays = candidate.entry.files[i].path + " belongs to " + foreign->second + " too";
        candidate.entry.files[i].isShared = owners_[candidate.files[i]].size() > 1;
    }
    for (const std::string &target : targets_[&candidate]) {
        if (candidate.stays)
            return;
        stayFor(failureOf([&] { candidate.stays = targetObjection(candidate, target); }), candidate);
    }
    if (!candidate.stays && !candidate.isInStore)
        stayFor(failureOf([&] { judgeMachine(candidate); }), candidate);
}

/// What the machine does not let now it may let at the next start.
void RpmSurvey::judgeMachine(RpmCandidate &candidate) {
    std::string obstacle;
    for (const std::string &target : targets_[&candidate])
        if (obstacle.empty())
            obstacle = targetPlaces_.obstacle(fs::absolute(target));
    // Those that are not published are removed in the end.
    for (const JournalledFile &file : candidate.entry.files)
        if (obstacle.empty())
            obstacle = targetPlaces_.obstacleIn(fs::path(file.path).parent_path());
    if (obstacle.empty())
        obstacle = targetPlaces_.shortage(0);
    if (obstacle.empty())
        return;
    candidate.stays = obstacle;
    candidate.isJudged = false;
}

std::optional<std::string> RpmSurvey::targetObjection(const RpmCandidate &candidate,
                                                      const std::string &target) const {
    const PlaceOnDisk place = places_.find(fs::absolute(target));
    const auto &claiming = claims_.at(place);
    if (claiming.size() > 1)
        return target + " would be published by " + claimants(claiming);
    struct stat status = {};
    if (!isThere(target, status))
        return std::nullopt;
    const auto owners = owners_.find(place);
    if (owners == owners_.end() && isFree(target) && !rpm_->isOwned(target))
        return std::nullopt;
    // Only a file of its own can be exchanged: nobody else would miss it.
    if (S_ISDIR(status.st_mode) || owners == owners_.end() ||
        std::ranges::find(owners->second, &candidate) == owners->second.end())
        return "what stands at " + target + " would not go with the package";
    if (owners->second.size() > 1)
        return target + " belongs to " + claimants(owners->second);
    return std::nullopt;
}

void RpmSurvey::withdraw(RpmCandidate &candidate, const std::string &reason) {
    candidate.stays = reason;
    spread();
}

/// Who shares a file with one that stays, stays: until nothing changes any more.
void RpmSurvey::spread() {
    bool changed = true;
    while (changed) {
        changed = false;
        for (const auto &[place, owners] : owners_) {
            // rpm leaves the file to the one that stays, in the way of the one that goes.
            const auto staying = std::ranges::find_if(
                owners, [](const RpmCandidate *owner) { return owner->stays.has_value(); });
            if (staying == owners.end())
                continue;
            for (RpmCandidate *owner : owners)
                if (!owner->stays) {
                    owner->stays = "shares a file with " + (*staying)->package.id() + ", which stays";
                    changed = true;
                }
        }
    }
}

} // namespace Core::KELP
