// The part of FSDatabase that removes versions and packages, and only their own files.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/store/fs-database.h"

#include "platform/event-log/log-event.h"

#include <unistd.h>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

/// As the platform's event log numbers them.
constexpr int packageCategory = 1;
constexpr int packageRemoved = 14;

/// Removes all that is in a directory beside one name.
void removeAllBut(const fs::path &directory, const fs::path &kept) {
    Common::requireNoMount(directory);
    Common::reraiseAs(ErrorCode::Filesystem, "Couldn't remove filesystem entry: " + directory.string(), [&] {
        for (const fs::directory_entry &entry : fs::directory_iterator(directory))
            if (entry.path().filename() != kept)
                fs::remove_all(entry.path());
    });
}

/// Logs the entries of a directory, by their paths, after a clean-up that could not be completed.
void tellWhatStays(const fs::path &directory) {
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        LogStream(LogLevel::Warning) << "Left as it is: " << entry->path();
}

} // namespace

void FSDatabase::remove(const std::string &id) {
    if (!isInstalled(id))
        throw Error(ErrorCode::PackageNotExist, "Attempt to remove non existent package " + id);
    if (entry(id).kind() != StoreEntry::Kind::Directory)
        throw Error(ErrorCode::FileConflict, entry(id).objection());
    tryRemoveMappingsUsingCurrentDirectory(id);
    dropPackage(id);
    // A retry: the failure may have been momentary.
    finishTakingBack(id);
}

std::vector<fs::path> FSDatabase::dropPackage(const std::string &id) const {
    const StoreEntry entry = this->entry(id);
    const StoreEntry::Kind kind = entry.kind();
    if (kind == StoreEntry::Kind::Absent)
        return {};
    if (kind != StoreEntry::Kind::Directory)
        throw Error(ErrorCode::FileConflict, entry.objection());
    // It goes in any case, and dropOthers() needs its place.
    if (entry.slot(PackageSlot::Previous).lead == StoreEntry::Lead::Elsewhere)
        Common::removeAll(entry.link(PackageSlot::Previous));
    const StoreEntry::Slot current = entry.slot(PackageSlot::Current);
    if (const auto failure = dropOthers(id, current.counts() ? current.version : ""))
        std::rethrow_exception(failure);
    dropCurrent(id);
    for (const PackageSlot slot : {PackageSlot::Next, PackageSlot::Previous, PackageSlot::Current})
        if (entry.slot(slot).lead != StoreEntry::Lead::NoLink)
            Common::removeAll(entry.link(slot));
    const fs::path directory = pathResolver_->packageDirectory(id);
    std::vector<fs::path> left;
    Common::reraiseAs(ErrorCode::Filesystem, "Couldn't read directory: " + directory.string(), [&] {
        for (const fs::directory_entry &other : fs::directory_iterator(directory))
            left.push_back(other.path());
    });
    if (left.empty())
        Common::removeAll(directory);
    return left;
}

/// The descriptor goes first. After a later kill the next look finds the package corrupted, and removes it if
/// the registry has it. At the very end a kill leaves a dangling link, but never a part of a package.
void FSDatabase::dropCurrent(const std::string &id) const {
    const StoreEntry::Slot current = entry(id).slot(PackageSlot::Current);
    if (!current.counts())
        return;
    const fs::path version = pathResolver_->versionDirectory(id, current.version);
    Common::requireNoMount(version);
    Common::removeAll(pathResolver_->descriptorFile(id, PackageSlot::Current));
    Common::removeAll(version);
}

void FSDatabase::cleanupCorrupted(const std::string &id) {
    remove(id);
    const std::string text =
        "Package: " + id + "\nVersion: cannot be accurately determined\nReason: corrupted";
    log_event(packageCategory, packageRemoved, text.c_str());
}

void FSDatabase::cleanupVersionsExceptCurrent(const std::string &id) {
    try {
        const fs::path current = pathResolver_->currentDirectory(id);
        // For the error's text.
        Common::readSymlink(current);
        const StoreEntry::Slot slot = entry(id).slot(PackageSlot::Current);
        const std::string objection = entry(id).objection();
        if (!slot.counts() || !objection.empty())
            throw Error(ErrorCode::Filesystem,
                        objection.empty() ? current.string() + " leads nowhere" : objection);
        dropOthers(id, slot.version);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't determinate actual version directory";
        LogStream(LogLevel::Warning) << error;
        tellWhatStays(pathResolver_->packageDirectory(id));
    }
}

/// Removes all versions but `kept`. While a version is removed, the link `prev` leads to it. After a kill,
/// `prev` beside a whole `current` means an unfinished removal, which a later run completes. The link `next`
/// would not do: a later run would make the rest of that version current. Failed removals are logged. A
/// version that cannot be removed keeps `prev`, so the removals after it fail too. Returns the first failure;
/// null without one. Raises when the package's entries cannot be looked at.
std::exception_ptr FSDatabase::dropOthers(const std::string &id, const std::string &kept) const {
    std::exception_ptr failure;
    const auto attempt = [&](const fs::path &what, const auto &drop) {
        try {
            drop();
        } catch (const std::exception &error) {
            LogStream(LogLevel::Warning)
                << "Couldn't cleanup legacy version of the package: " << what << error;
            failure = failure ? failure : std::current_exception();
        }
    };
    const StoreEntry entry = this->entry(id);
    attempt(entry.link(PackageSlot::Previous), [&] { dropPrevious(id); });
    attempt(entry.link(PackageSlot::Next), [&] {
        if (entry.slot(PackageSlot::Next).isOurs())
            dropByPrevious(
                id, [&] { Common::move(entry.link(PackageSlot::Next), entry.link(PackageSlot::Previous)); });
    });
    for (const std::string &version : entry.content().own) {
        const fs::path directory = pathResolver_->versionDirectory(id, version);
        if (version != kept)
            attempt(directory, [&] {
                dropByPrevious(id, [&] {
                    Common::createSymlink(fs::absolute(directory), entry.link(PackageSlot::Previous));
                });
            });
    }
    return failure;
}

void FSDatabase::dropByPrevious(const std::string &id, const std::function<void()> &makePrevious) const {
    const fs::path previous = pathResolver_->previousDirectory(id);
    // A foreign one, or the link of a version that could not be removed.
    if (entry(id).slot(PackageSlot::Previous).lead != StoreEntry::Lead::Absent)
        throw Error(ErrorCode::Filesystem, previous.string() + " is in the way");
    makePrevious();
    dropPrevious(id);
}

/// The version before the link: without the link nobody would own a directory that a kill leaves empty.
void FSDatabase::dropPrevious(const std::string &id) const {
    const StoreEntry entry = this->entry(id);
    const StoreEntry::Slot previous = entry.slot(PackageSlot::Previous);
    const StoreEntry::Slot current = entry.slot(PackageSlot::Current);
    if (previous.counts() && !(current.counts() && current.version == previous.version))
        dropVersion(id, previous.version);
    if (previous.isOurs())
        Common::removeAll(entry.link(PackageSlot::Previous));
}

/// The descriptor last: it tells whose the directory is.
void FSDatabase::dropVersion(const std::string &id, const std::string &version) const {
    const fs::path directory = pathResolver_->versionDirectory(id, version);
    removeAllBut(directory, pathResolver_->descriptorFile(id, version).filename());
    Common::removeAll(directory);
}

/// A failed installation left a version that no link names. It would fail all later ones.
void FSDatabase::dropLeftover(const fs::path &directory, const std::string &id) const {
    const StoreEntry entry = this->entry(id);
    const std::string version = directory.filename().string();
    for (const PackageSlot slot : {PackageSlot::Previous, PackageSlot::Current, PackageSlot::Next})
        if (const StoreEntry::Slot found = entry.slot(slot); found.counts() && found.version == version)
            return;
    if (entry.descriptor(version).state == StoreEntry::DescriptorState::Own)
        dropVersion(id, version);
    // After a kill before that one's last step an empty directory remains, with nothing to lose.
    ::rmdir(directory.c_str());
}

} // namespace Core::KELP
