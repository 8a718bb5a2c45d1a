#include "kelp/core/kelp/package/store-entry.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-names.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Identity = std::pair<dev_t, ino_t>;

constexpr std::array slots = {PackageSlot::Current, PackageSlot::Next, PackageSlot::Previous};

bool isAmong(const std::array<std::string_view, 3> &names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

[[noreturn]] void raiseLook(const fs::path &path, int reason) {
    throw Error(ErrorCode::Filesystem, "Couldn't look at " + path.string(), reason);
}

std::optional<struct stat> lookAt(const fs::path &path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) == 0)
        return status;
    if (!Common::isNotFound(errno))
        raiseLook(path, errno);
    return std::nullopt;
}

/// Of a real directory alone.
std::optional<Identity> directoryAt(const fs::path &path) {
    const auto status = lookAt(path);
    return status && S_ISDIR(status->st_mode) ? std::optional<Identity>({status->st_dev, status->st_ino})
                                              : std::nullopt;
}

} // namespace

bool isDescriptorOf(const PackageInformation &information, const std::string &id,
                    const std::string &version) {
    return valueOf(information, "general.id") == id && valueOf(information, "general.version") == version;
}

StoreEntry::Kind StoreEntry::kind() const {
    const auto status = Common::isFileName(id_) ? lookAt(directory()) : std::nullopt;
    if (!status)
        return Kind::Absent;
    if (S_ISLNK(status->st_mode))
        return Kind::Link;
    return S_ISDIR(status->st_mode) ? Kind::Directory : Kind::Other;
}

fs::path StoreEntry::link(PackageSlot slot) const {
    if (slot == PackageSlot::Next)
        return resolver_->nextDirectory(id_);
    return slot == PackageSlot::Previous ? resolver_->previousDirectory(id_)
                                         : resolver_->currentDirectory(id_);
}

StoreEntry::Slot StoreEntry::slot(PackageSlot slot) const {
    const fs::path path = link(slot);
    const auto status = Common::isFileName(id_) ? lookAt(path) : std::nullopt;
    if (!status)
        return {};
    if (!S_ISLNK(status->st_mode))
        return {Lead::NoLink, {}};
    std::error_code error;
    const std::string name = fs::read_symlink(path, error).filename().string();
    if (error)
        raiseLook(path, error.value());
    struct stat target = {};
    if (::stat(path.c_str(), &target) == 0)
        return leadTo({target.st_dev, target.st_ino}, name);
    if (Common::isNotFound(errno))
        return {Lead::Nowhere, name};
    if (errno != ELOOP)
        raiseLook(path, errno);
    return {Lead::Elsewhere, {}};
}

/// Usually it is the version that the text names, but the text alone proves nothing.
StoreEntry::Slot StoreEntry::leadTo(const std::pair<dev_t, ino_t> &target, const std::string &name) const {
    const auto isTarget = [&](const std::string &other) {
        return directoryAt(directory() / other) == target;
    };
    if (!name.empty() && name != "." && name != ".." && isTarget(name))
        return {Lead::Version, name};
    const std::vector<std::string> all = names();
    const auto found = std::ranges::find_if(all, isTarget);
    return found == all.end() ? Slot{Lead::Elsewhere, {}} : Slot{Lead::Version, *found};
}

StoreEntry::Descriptor StoreEntry::descriptor(const std::string &version) const {
    const fs::path path = resolver_->descriptorFile(id_, version);
    try {
        if (!lookAt(path))
            return {};
        PackageInformation information = readDescriptor(path);
        const bool isOwn = isDescriptorOf(information, id_, version);
        return {isOwn ? DescriptorState::Own : DescriptorState::Another, std::move(information), {}};
    } catch (const Error &error) {
        const bool isRead = error.code() == Common::ErrorCategory::make(ErrorCode::Internal);
        return {isRead ? DescriptorState::Malformed : DescriptorState::Unreadable,
                {},
                isFaultOfMachine(error) ? Common::explainedText(error) : std::string()};
    }
}

std::vector<std::string> StoreEntry::names() const {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory(), error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        // The links have states of their own.
        if (!isAmong(StoreName::links, name) && !isAmong(StoreName::reserved, name))
            names.push_back(std::move(name));
    }
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
        raiseLook(directory(), error.value());
    std::ranges::sort(names);
    return names;
}

bool StoreEntry::isOwn(const std::string &name) const {
    return directoryAt(directory() / name) && (std::ranges::any_of(slots,
                                                                   [&](PackageSlot which) {
                                                                       const Slot found = slot(which);
                                                                       return found.counts() &&
                                                                              found.version == name;
                                                                   }) ||
                                               descriptor(name).state == DescriptorState::Own);
}

StoreEntry::Content StoreEntry::content(const std::set<std::string> &underWay) const {
    Content content;
    for (std::string &name : names()) {
        const bool own = isOwn(name) || (underWay.contains(name) && directoryAt(directory() / name));
        (own ? content.own : content.foreign).push_back(std::move(name));
    }
    return content;
}

bool StoreEntry::isNamedByDescriptor() const {
    std::string failure;
    const auto namesIt = [&](const std::string &version) {
        if (!directoryAt(directory() / version))
            return false;
        const Descriptor found = descriptor(version);
        if (!found.failure.empty())
            failure = found.failure;
        return valueOf(found.information, "general.id") == id_;
    };
    // Usually the current one does, and the others need not be read.
    const Slot current = slot(PackageSlot::Current);
    if ((current.counts() && namesIt(current.version)) || std::ranges::any_of(names(), namesIt))
        return true;
    if (!failure.empty())
        throw Error(ErrorCode::Filesystem, failure);
    return false;
}

bool StoreEntry::leadsToAnothers(PackageSlot which) const {
    const Slot found = slot(which);
    return found.counts() && descriptor(found.version).state == DescriptorState::Another;
}

bool StoreEntry::hasAnothers() const {
    return leadsToAnothers(PackageSlot::Next) || leadsToAnothers(PackageSlot::Previous);
}

std::string StoreEntry::objection() const {
    const Kind found = kind();
    if (found == Kind::Link)
        return directory().string() + " is a link";
    if (found == Kind::Other)
        return directory().string() + " is not a directory";
    for (const PackageSlot which : slots)
        if (slot(which).isForeign() || (which != PackageSlot::Current && leadsToAnothers(which)))
            return link(which).string() + " does not lead to a version of the package";
    return {};
}

std::string StoreEntry::objectionTo(const std::string &version, const std::set<std::string> &underWay) const {
    if (std::string objection = this->objection(); !objection.empty())
        return objection;
    const fs::path place = resolver_->versionDirectory(id_, version);
    const bool isOurs = isOwn(version) || (underWay.contains(version) && directoryAt(place));
    return isOurs || !lookAt(place) ? std::string() : place.string() + " is somebody else's";
}

} // namespace Core::KELP
