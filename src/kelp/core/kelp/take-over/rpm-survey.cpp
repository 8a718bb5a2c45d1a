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
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/i-database.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/package-outline.h"
#include "kelp/core/kelp/take-over/target-exchange.h"

#include "platform/app-manifest/manifest-entry.h"
#include "platform/package-signatures/database.h"

#include <sys/stat.h>

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

struct Identity {
    std::string id;
    std::string version;
    std::string architecture;
};

/// A record without one of these, such as rpm's own keys, cannot be taken over.
Identity readIdentity(const Reader &reader) {
    Identity identity;
    identity.id = reader.tag(Tag::Name);
    const std::string release = reader.tag(Tag::Release);
    identity.version = reader.tag(Tag::Version) + "-" + release;
    identity.architecture = reader.tag(Tag::Architecture);
    return identity;
}

struct Names {
    std::optional<std::string> organisation;
    std::optional<std::string> application;
};

/// From the running system, like all files of rpm's records, without the root prefix.
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

JournalEntry makeEntry(const Reader &reader, const Identity &identity, const Certificate &certificate) {
    JournalEntry entry;
    entry.id = identity.id;
    entry.version = identity.version;
    entry.extras = {{"certificate.subgroup", PackageSignatures::subgroupToString(certificate.subgroup())},
                    {"certificate.id", certificate.keyId()}};
    entry.digest = headerDigest(reader);
    entry.instance = Common::Rpm::databaseInstance(reader);
    return entry;
}

/// Objects to a path that a list or a log could not hold, and to a name that the exchange of files uses
/// itself.
std::optional<std::string> nameObjection(const std::string &target) {
    const auto isControl = [](unsigned char character) { return character < 0x20 || character == 0x7f; };
    if (std::ranges::any_of(target, isControl))
        return "it publishes a path with a control character";
    if (isTemporaryName(target.substr(target.rfind('/') + 1)))
        return target + " has a name that the take-over uses itself";
    return std::nullopt;
}

template<class Step>
std::optional<RpmSurvey::Failure> failureOf(const Step &step) {
    try {
        step();
        return std::nullopt;
    } catch (const UnknownPath &) {
        throw; // Otherwise this application's targets would count as free for the others.
    } catch (const std::exception &error) {
        // A link on the way that is not root's may go again.
        const auto *system = dynamic_cast<const std::system_error *>(&error);
        const bool isOfMachine = system && Common::Directory::isRefusal(*system);
        return RpmSurvey::Failure{error.what(), !isOfMachine && isJudgement(Common::systemErrorOf(error))};
    }
}

/// Makes the application stay after a failure.
void stayFor(const std::optional<RpmSurvey::Failure> &failure, RpmCandidate &candidate) {
    if (!failure || candidate.stays)
        return;
    candidate.stays = failure->reason;
    candidate.isJudged = failure->isJudgement;
}

/// Whoever completes a removal that was begun before rpm got the package would take it out of the store.
void requireNoRemoval(const std::string &id) {
    if (unfinishedRemoval() == id)
        throw Common::Error(Common::ErrorCode::Internal,
                            "its removal was begun; kelpctl doctor --repair completes it");
}

/// A tree that was made while all of this application's files existed may now be the only copy.
void requireNothingLost(const Reader &record, const Identity &identity, const std::vector<LeftTree> &left) {
    for (const LeftTree &tree : left)
        if (tree.isOf(identity.id) && tree.holdsMissingFile(record))
            throw Common::Error(Common::ErrorCode::Internal,
                                "files that it lacks are kept in " + tree.path().string());
}

/// The files that rpm would take away, by their numbers among the package's.
PathIndex::PathOf erasedFiles(const InstalledApplication &application) {
    return [&application](std::size_t number) {
        return application.isErased[number] ? std::optional(application.package.files()[number].path)
                                            : std::nullopt;
    };
}

/// A failed look does not make it free.
bool isThere(const fs::path &target, struct stat &status) {
    if (::lstat(target.c_str(), &status) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    throw Common::Error(Common::ErrorCode::Filesystem, target.string() + ": " + std::strerror(errno), errno);
}

/// Publishing replaces any dangling link.
bool isFree(const fs::path &target) {
    return !Common::lookThrough(target) && isMapping(target);
}

std::string wouldNotGo(const std::string &target) {
    return "what stands at " + target + " would not go with the package";
}

/// The objection to the entry in place of its own file.
std::optional<std::string> objectionToOwn(const std::string &target, mode_t mode) {
    return S_ISDIR(mode) ? std::optional(wouldNotGo(target)) : std::nullopt;
}

} // namespace

/// Old packages have only SHA-1. Without either, the place in the database must suffice.
std::string headerDigest(const Reader &reader) {
    return reader.tagOr(Tag::Sha256Header, reader.tagOr(Tag::Sha1Header, ""));
}

RpmSurvey::RpmSurvey(const Transaction &rpm, InstalledVersion installedVersion,
                     const IDatabasePathResolver &pathResolver, const std::set<std::string> &exceptIds,
                     const std::vector<LeftTree> &left, std::uint64_t stagingDevice) :
    rpm_(&rpm),
    installedVersion_(std::move(installedVersion)),
    pathResolver_(&pathResolver),
    stagingDevice_(stagingDevice) {
    const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
    isDamaged_ =
        forEachRecord(rpm, [&](const Reader &reader) { readRecord(reader, signatures, exceptIds, left); });
    PlaceHashes hashes;
    std::vector<Alone> alone;
    alone.reserve(candidates_.size());
    for (std::size_t number = 0; number < candidates_.size(); ++number)
        alone.push_back(judgeAlone(number, hashes));
    // Takes the hashes, which it frees: the journal of a large application needs the memory.
    owners_ = findPathOwners(rpm, std::move(hashes), places_,
                             [&](std::size_t number, const PathVisitor &file, const PathVisitor &target) {
                                 readPaths(*candidates_[number], file,
                                           alone[number].hasTargets ? &target : nullptr);
                             });
    for (std::size_t number = 0; number < candidates_.size(); ++number)
        judgeTogether(number, alone[number]);
    spread();
}

void RpmSurvey::readRecord(const Reader &reader, const PackageSignatures::Database &signatures,
                           const std::set<std::string> &exceptIds, const std::vector<LeftTree> &left) {
    const auto identity = unlessUnreadable([&] { return readIdentity(reader); });
    if (!identity)
        return;
    // First of all: a second record of the name counts, even if this one is left out.
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
    // The files are read later: here a list that contradicts itself is refused.
    if (!unlessUnreadable([&] { return InstalledFiles(reader); }))
        return;
    RpmCandidate &candidate = *candidates_.emplace_back(std::make_unique<RpmCandidate>());
    candidate.entry = makeEntry(reader, *identity, *certificate);
    items_.push_back({identity->id, &candidate});
    takeNames(candidate);
    stayFor(failureOf([&] {
                requireNoRemoval(identity->id);
                requireNothingLost(reader, *identity, left);
            }),
            candidate);
}

/// Without its names its organisation's data would not move.
void RpmSurvey::takeNames(RpmCandidate &candidate) {
    stayFor(failureOf([&] {
                const auto [orgName, appName] = namesOf(candidate.entry.id);
                candidate.entry.orgName = orgName;
                candidate.entry.appName = appName;
            }),
            candidate);
}

InstalledApplication RpmSurvey::read(const RpmCandidate &candidate,
                                     FileIterator::Unexpected unexpected) const {
    const JournalEntry &entry = candidate.entry;
    std::optional<InstalledApplication> application;
    rpm_->lookUp(entry.instance, [&](const Reader &record) {
        application.emplace(readApplication(record, entry.extras.at("certificate.id"), entry.orgName,
                                            entry.appName, unexpected));
    });
    if (!application)
        throw Common::Error(Common::ErrorCode::Internal, "Couldn't read the rpm database");
    return std::move(*application);
}

/// By the record and the disk alone, as if it shared no place.
RpmSurvey::Alone RpmSurvey::judgeAlone(std::size_t number, PlaceHashes &hashes) {
    RpmCandidate &candidate = *candidates_[number];
    hashes.instances.insert(candidate.entry.instance);
    const InstalledApplication application = read(candidate, FileIterator::Unexpected::Logged);
    const StandingFiles standing(application.package, stagingDevice_);
    candidate.bytes = standing.bytes(application.sizes);
    const PathIndex files(places_, application.isErased.size(), erasedFiles(application));
    for (const auto &[place, ignored] : files.hashes())
        hashes.files.push_back({place, number});
    addDirectories(application, hashes.directories);
    CompactPaths targets;
    // One unreadable descriptor must not keep every other application in rpm.
    stayFor(failureOf([&] {
                if (mayPublish(candidate, application))
                    targets = judgeTree(candidate, application, standing);
            }),
            candidate);
    // Also for one that stays: its targets are not free for others.
    for (std::size_t i = 0; i < targets.size(); ++i)
        hashes.targets.push_back({hash(places_.find(fs::absolute(targets[i]))), number});
    Alone alone{targets.size() != 0};
    if (!candidate.stays && !candidate.isInStore)
        alone.objection = objectionAlone(application, standing, targets, files);
    return alone;
}

/// Once for the neighbours that lie in it.
void RpmSurvey::addDirectories(const InstalledApplication &application, std::vector<PathHash> &directories) {
    std::string last;
    const auto pathOf = erasedFiles(application);
    for (std::size_t i = 0; i < application.isErased.size(); ++i)
        if (const auto path = pathOf(i)) {
            std::string directory = path->substr(0, path->rfind('/') + 1);
            if (directory == std::exchange(last, directory))
                continue;
            const PathIdentity place = places_.find(*path);
            directories.push_back(hash({place.device, place.inode, ""}));
        }
}

/// Whether its tree decides. A package in the store is judged as a whole.
bool RpmSurvey::mayPublish(RpmCandidate &candidate, const InstalledApplication &application) {
    const JournalEntry &entry = candidate.entry;
    if (candidate.stays)
        return false;
    // First: the later checks make paths of these. And without a key its descriptor would not be complete.
    if (!Common::isFileName(entry.id) || !Common::isFileName(entry.version) ||
        !Common::isFileName(entry.extras.at("certificate.id"))) {
        candidate.stays = "its name, version or key cannot name a directory";
    } else if (records_[entry.id] > 1) {
        // The store has one directory for both.
        candidate.stays = "rpm holds it more than once";
    } else if (std::string objection = StoreEntry(*pathResolver_, entry.id).objectionTo(entry.version);
               !objection.empty()) {
        candidate.stays = std::move(objection);
    } else if (const auto installed = installedVersion_(entry.id)) {
        judgeStored(candidate, *installed, application);
    } else if (const auto foreign = StoreEntry(*pathResolver_, entry.id).content().foreign;
               !foreign.empty()) {
        // If the take-over failed, the whole directory would leave the store.
        candidate.stays =
            (pathResolver_->packageDirectory(entry.id) / foreign.front()).string() + " is somebody else's";
    } else {
        return true;
    }
    return false;
}

/// A record that outlived the take-over of its package, as after a power cut that undid rpm's last step.
void RpmSurvey::judgeStored(RpmCandidate &candidate, const std::string &installed,
                            const InstalledApplication &application) const {
    const JournalEntry &entry = candidate.entry;
    const fs::path current = fs::absolute(pathResolver_->currentDirectory(entry.id));
    const auto pathOf = erasedFiles(application);
    // A link that was published as a copy carries no mark.
    const auto isOwn = [&](const std::string &path) {
        return isMappingBelow(path, current) ||
               isCopiedLinkOf(path, current / packagePathOf(path, application.package.mappings()));
    };
    std::optional<std::string> foreign;
    for (std::size_t i = 0; !foreign && i < application.isErased.size(); ++i)
        // By now the store may have published its own in place of rpm's file.
        if (auto path = pathOf(i); path && Common::lookFor(*path) && !isOwn(*path))
            foreign = std::move(path);
    if (installed != entry.version)
        candidate.stays = "the store holds version " + installed;
    else if (foreign)
        // Only the record goes: a file that is not the store's would be left for good.
        candidate.stays = "the store holds this version, and " + *foreign + " is not the store's";
    else
        candidate.isInStore = true;
}

PackageOutline RpmSurvey::outlineOf(const JournalEntry &entry, const InstalledApplication &application,
                                    const StandingFiles &standing) const {
    return {application.package, standing,
            fs::absolute(pathResolver_->versionDirectory(entry.id, entry.version))};
}

/// Returns its targets.
CompactPaths RpmSurvey::judgeTree(RpmCandidate &candidate, const InstalledApplication &application,
                                  const StandingFiles &standing) const {
    const PackageOutline outline = outlineOf(candidate.entry, application, standing);
    const auto mappings = mappingsOf(candidate.entry, Rooted::Yes);
    candidate.stays = outline.objection(mappings);
    CompactPaths targets = outline.targets(mappings);
    for (std::size_t i = 0; !candidate.stays && i < targets.size(); ++i)
        candidate.stays = nameObjection(targets[i]);
    return targets;
}

std::optional<RpmSurvey::Objection> RpmSurvey::objectionAlone(const InstalledApplication &application,
                                                              const StandingFiles &standing,
                                                              const CompactPaths &targets,
                                                              const PathIndex &files) {
    Attributes attributes(targets.size());
    std::size_t number = 0;
    for (; number < targets.size(); ++number) {
        const std::string target = targets[number];
        std::optional<std::string> reason;
        const auto failure = failureOf([&] {
            if (const auto own = files.find(places_.find(fs::absolute(target)))) {
                attributes[number] = standing[*own].attributes;
                reason = objectionToOwn(target, standing[*own].mode);
            } else {
                reason = standingObjection(target, false, false);
            }
        });
        if (failure)
            return Objection{number, *failure};
        if (reason)
            return Objection{number, {*reason, true}};
    }
    std::string obstacle;
    if (const auto failure =
            failureOf([&] { obstacle = obstacleOfMachine(application, targets, attributes); }))
        return Objection{number, *failure};
    // The machine may allow it at the next start.
    return obstacle.empty() ? std::nullopt : std::optional(Objection{number, {obstacle, false}});
}

/// The objection to the present entry at a target.
std::optional<std::string> RpmSurvey::standingObjection(const std::string &target, bool isOwned,
                                                        bool isOwn) const {
    struct stat status = {};
    if (!isThere(target, status) || (!isOwned && isFree(target) && !rpm_->isOwned(target)))
        return std::nullopt;
    // Only its own file can be exchanged: no other package misses it.
    return isOwn ? objectionToOwn(target, status.st_mode) : wouldNotGo(target);
}

std::string RpmSurvey::obstacleOfMachine(const InstalledApplication &application, const CompactPaths &targets,
                                         const Attributes &attributes) {
    std::string obstacle;
    for (std::size_t i = 0; obstacle.empty() && i < targets.size(); ++i)
        obstacle = targetPlaces_.obstacle(fs::absolute(targets[i]), attributes[i]);
    // Unpublished files are removed in the end.
    const auto pathOf = erasedFiles(application);
    std::string last;
    for (std::size_t i = 0; obstacle.empty() && i < application.isErased.size(); ++i)
        if (const auto path = pathOf(i)) {
            std::string directory = path->substr(0, path->rfind('/') + 1);
            if (directory != last)
                obstacle = targetPlaces_.obstacleIn(fs::path(directory).parent_path());
            last = std::move(directory);
        }
    return obstacle.empty() ? targetPlaces_.shortage() : obstacle;
}

/// Reads the record again: its files, and its targets unless `target` is null.
void RpmSurvey::readPaths(const RpmCandidate &candidate, const PathVisitor &file,
                          const PathVisitor *target) const {
    const InstalledApplication application = read(candidate);
    const auto pathOf = erasedFiles(application);
    for (std::size_t i = 0; i < application.isErased.size(); ++i)
        if (const auto path = pathOf(i))
            file(*path, i);
    if (!target)
        return;
    const CompactPaths targets =
        outlineOf(candidate.entry, application, StandingFiles(application.package, stagingDevice_))
            .targets(mappingsOf(candidate.entry, Rooted::Yes));
    for (std::size_t i = 0; i < targets.size(); ++i)
        (*target)(targets[i], i);
}

void RpmSurvey::judgeTogether(std::size_t number, const Alone &alone) {
    RpmCandidate &candidate = *candidates_[number];
    const auto &[files, targets] = owners_.pathsOf(number);
    for (const PathOwners::Path &file : files)
        // rpm would leave the file to the other package, in the way of a published one.
        if (const auto &foreign = owners_.of(file).foreign; foreign && !candidate.stays)
            candidate.stays = file.path + " belongs to " + *foreign + " too";
    for (const PathOwners::Path &target : targets)
        // The first objection in the order of targets counts.
        if (!candidate.stays && (!alone.objection || target.number <= alone.objection->target))
            stayFor(failureOf([&] { candidate.stays = targetObjection(number, target); }), candidate);
    if (alone.objection)
        stayFor(alone.objection->failure, candidate);
}

std::optional<std::string> RpmSurvey::targetObjection(std::size_t number,
                                                      const PathOwners::Path &target) const {
    const auto &[holders, claimants, foreign] = owners_.of(target);
    if (claimants.size() > 1)
        return target.path + " would be published by " + idsOf(claimants);
    const bool isOwn = std::ranges::find(holders, number) != holders.end();
    auto objection = standingObjection(target.path, !holders.empty(), isOwn);
    struct stat status = {};
    if (!objection && holders.size() > 1 && isThere(target.path, status))
        return target.path + " belongs to " + idsOf(holders);
    return objection;
}

std::string RpmSurvey::idsOf(const std::vector<std::size_t> &numbers) const {
    std::string ids;
    for (const std::size_t number : numbers)
        ids += (ids.empty() ? "" : " and ") + candidates_[number]->entry.id;
    return ids;
}

void RpmSurvey::withdraw(RpmCandidate &candidate, const std::string &reason) {
    candidate.stays = reason;
    spread();
}

/// An application that shares a file with one that stays, stays too; repeated until nothing changes.
void RpmSurvey::spread() {
    bool changed = true;
    while (changed) {
        changed = false;
        for (const auto &[place, owners] : owners_.places()) {
            // rpm would leave the file to the one that stays, in the way of the other.
            const auto staying = std::ranges::find_if(owners.holders, [this](std::size_t number) {
                return candidates_[number]->stays.has_value();
            });
            if (staying == owners.holders.end())
                continue;
            for (const std::size_t number : owners.holders)
                if (RpmCandidate &candidate = *candidates_[number]; !candidate.stays) {
                    candidate.stays =
                        "shares a file with " + candidates_[*staying]->entry.id + ", which stays";
                    changed = true;
                }
        }
    }
}

} // namespace Core::KELP
