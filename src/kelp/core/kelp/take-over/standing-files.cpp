#include "kelp/core/kelp/take-over/standing-files.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>

namespace Core::KELP {

namespace {

using File = StandingFiles::File;

constexpr std::uint64_t bytesOfBlock = 4096;

bool isRegularEntry(const RpmPackage::FileEntry &entry) {
    return std::holds_alternative<Common::Rpm::RegularFile>(entry.kind);
}

/// In blocks, and never none: an empty file takes space for its name and its inode.
std::uint64_t onDisk(std::uint64_t size) {
    return (size / bytesOfBlock + 1) * bytesOfBlock;
}

/// Looks at file after file, and keeps the directory of the last one open for the next.
class Look {
public:
    explicit Look(std::uint64_t stagingDevice) : stagingDevice_(stagingDevice) {}

    File at(const std::string &path, bool isCopied) {
        File file;
        try {
            const std::size_t nameBegin = path.rfind('/') + 1; // 0 for a name alone.
            enter(path.substr(0, nameBegin));
            file.isByRoot = directory_.has_value();
            struct statx status = {};
            if (directory_ ? directory_->look(path.substr(nameBegin), status) : lookAt(path, status))
                note(status, path, isCopied, file);
        } catch (const std::system_error &error) {
            file.error = static_cast<std::uint16_t>(error.code().value());
        }
        return file;
    }

private:
    void enter(std::string directory) {
        if (directory == last_)
            return;
        last_.clear();
        directory_.reset();
        try {
            directory_ = Common::Directory::byLinksOfRoot(directory);
        } catch (const std::system_error &error) {
            if (!Common::Directory::isRefusal(error))
                throw;
        }
        last_ = std::move(directory);
    }

    static bool lookAt(const std::string &path, struct statx &status) {
        if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) == 0)
            return true;
        if (errno != ENOENT)
            throw std::system_error(errno, std::system_category());
        return false;
    }

    void note(struct statx status, const std::string &path, bool isCopied, File &file) const {
        file.mode = status.stx_mode;
        file.attributes = static_cast<std::uint32_t>(status.stx_attributes);
        const bool isLink = S_ISLNK(status.stx_mode);
        if (isLink && isCopied && ::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS, &status) != 0)
            return;
        if (!isCopied || !S_ISREG(status.stx_mode))
            return;
        file.size = status.stx_size;
        file.canBeLinked = makedev(status.stx_dev_major, status.stx_dev_minor) == stagingDevice_ &&
                           status.stx_uid == ::geteuid() && status.stx_gid == ::getegid() &&
                           (status.stx_mode & (S_ISUID | S_ISGID)) == 0 && status.stx_nlink == 1;
    }

    std::uint64_t stagingDevice_;
    std::string last_;
    std::optional<Common::Directory>
        directory_; ///< The last one; nothing for a missing one, or where others decide where it leads.
};

} // namespace

StandingFiles::StandingFiles(const RpmPackage &package, std::uint64_t stagingDevice) : package_(&package) {
    Look look(stagingDevice);
    files_.reserve(package.files().size());
    for (const RpmPackage::FileEntry &entry : package.files())
        files_.push_back(std::holds_alternative<Common::Rpm::Directory>(entry.kind)
                             ? File()
                             : look.at(entry.path, isRegularEntry(entry)));
}

const StandingFiles::File &StandingFiles::operator[](std::size_t number) const {
    const File &file = files_[number];
    if (file.error != 0)
        throw Common::Error(Common::ErrorCode::Filesystem,
                            "Couldn't look for " + package_->files()[number].path, file.error);
    return file;
}

/// The larger of the record's size and the disk's: a wrong record must not fill the disk, and a sparse file
/// is copied in full.
std::uint64_t StandingFiles::bytes(const std::vector<std::uint64_t> &recordedSizes) const {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < files_.size(); ++i)
        // A hard link takes no space. If it turns out to need a copy, its application waits for room.
        bytes += isRegularEntry(package_->files()[i]) && !files_[i].canBeLinked
                     ? onDisk(std::max(recordedSizes[i], files_[i].size))
                     : bytesOfBlock;
    return bytes;
}

} // namespace Core::KELP
