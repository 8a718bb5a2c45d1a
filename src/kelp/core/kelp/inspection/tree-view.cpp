#include "kelp/core/kelp/inspection/tree-view.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <utility>

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

struct CloseDirectory {
    void operator()(DIR *directory) const { ::closedir(directory); }
};

[[noreturn]] void raiseUnreadable(const std::string &path) {
    const int reason = errno;
    throw Error(ErrorCode::Filesystem, "Couldn't read directory: " + path, reason);
}

} // namespace

TreeView::TreeView(const std::filesystem::path &directory) {
    look(AT_FDCWD, directory.string(), 0, directory.string());
}

void TreeView::look(int parent, const std::string &name, int flags, const std::string &path) {
    Common::FileDescriptor directory(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
    // It may have been removed meanwhile, or never have existed.
    if (directory.get() < 0 && Common::provesAbsence(errno))
        return;
    if (directory.get() < 0)
        raiseUnreadable(path);
    const std::unique_ptr<DIR, CloseDirectory> stream(::fdopendir(directory.get()));
    if (!stream)
        raiseUnreadable(path);
    // The stream owns the descriptor from now on.
    const int place = directory.release();
    errno = 0;
    while (const dirent *entry = ::readdir(stream.get())) {
        const std::string_view entryName = entry->d_name;
        if (entryName != "." && entryName != "..")
            count(place, *entry, path + '/' + entry->d_name);
        errno = 0;
    }
    // Only errno tells the end from a failure.
    if (errno != 0)
        raiseUnreadable(path);
}

void TreeView::count(int directory, const dirent &entry, const std::string &path) {
    struct stat status {};
    status.st_mode = static_cast<mode_t>(DTTOIF(entry.d_type));
    // Not every filesystem tells kinds with names. For directories and links only the kind counts.
    const bool isEnough = entry.d_type == DT_DIR || entry.d_type == DT_LNK;
    if (!isEnough && ::fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (Common::provesAbsence(errno))
            return;
        throw Error(ErrorCode::Filesystem, "Couldn't look at " + path, errno);
    }
    if (S_ISDIR(status.st_mode))
        return look(directory, entry.d_name, O_NOFOLLOW, path);
    paths_.insert(path);
    // A link's target is counted at its own place, or is not the package's.
    if (S_ISREG(status.st_mode))
        bytes_ += static_cast<std::uintmax_t>(status.st_size);
}

} // namespace Core::KELP
