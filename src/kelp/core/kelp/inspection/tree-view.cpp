#include "kelp/core/kelp/inspection/tree-view.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

} // namespace

TreeView::TreeView(const std::filesystem::path &directory) {
    look(AT_FDCWD, directory.string(), 0, directory.string());
}

void TreeView::look(int parent, const std::string &name, int flags, const std::string &path) {
    const Common::FileDescriptor directory(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
    const auto names = Common::namesIn(directory);
    if (!names) {
        // It may have been removed meanwhile, or never have existed.
        if (Common::provesAbsence(errno))
            return;
        throw Error(ErrorCode::Filesystem, "Couldn't read directory: " + path, errno);
    }
    for (const std::string &entry : *names)
        count(directory.get(), entry, path + '/' + entry);
}

void TreeView::count(int directory, const std::string &name, const std::string &path) {
    struct stat status {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (Common::provesAbsence(errno))
            return;
        throw Error(ErrorCode::Filesystem, "Couldn't look at " + path, errno);
    }
    if (S_ISDIR(status.st_mode))
        return look(directory, name, O_NOFOLLOW, path);
    paths_.insert(path);
    // A link's target is counted at its own place, or is not the package's.
    if (S_ISREG(status.st_mode))
        bytes_ += static_cast<std::uintmax_t>(status.st_size);
}

} // namespace Core::KELP
