#include "kelp/core/common/files/file-descriptor.h"

#include "kelp/core/common/errors/error.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace Common {

FileDescriptor::FileDescriptor(FileDescriptor &&other) noexcept : file_(other.release()) {}

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept {
    // The file that was open here closes with `other`.
    std::swap(file_, other.file_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (file_ >= 0)
        ::close(file_);
}

void FileDescriptor::close() {
    // Released first: Linux closes it even when it reports an error, and the number may be another file's by
    // then.
    if (::close(release()) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't finish writing a file", errno);
}

namespace {

/// For kernels before 5.6, which do not know openat2.
FileDescriptor openByComponents(int directory, const std::filesystem::path &path, int flags) {
    constexpr int searched = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    errno = EXDEV;
    if (std::ranges::find(path, "..") != path.end())
        return FileDescriptor();
    FileDescriptor current(::openat(directory, ".", searched));
    for (const std::filesystem::path &name : path.parent_path())
        if (current.get() >= 0)
            current = FileDescriptor(::openat(current.get(), name.c_str(), searched));
    if (current.get() < 0)
        return current;
    return FileDescriptor(::openat(current.get(), path.filename().c_str(), flags | O_NOFOLLOW));
}

} // namespace

void holdStandardDescriptors() {
    int held = -1;
    do
        held = ::open("/dev/null", O_RDONLY);
    while (held >= 0 && held <= STDERR_FILENO);
    if (held >= 0)
        ::close(held);
}

FileDescriptor openBeneath(int directory, const std::filesystem::path &path, int flags) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    // The C library has no function for it.
    FileDescriptor found(static_cast<int>(::syscall(SYS_openat2, directory, path.c_str(), &how, sizeof how)));
    return found.get() < 0 && errno == ENOSYS ? openByComponents(directory, path, flags) : std::move(found);
}

std::optional<std::vector<std::string>> namesIn(const FileDescriptor &directory) {
    // A descriptor's entries can be read once: each call needs its own.
    FileDescriptor own(
        directory.get() < 0 ? -1 : ::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR *)> stream(own.get() < 0 ? nullptr : ::fdopendir(own.get()),
                                                      ::closedir);
    if (!stream)
        return std::nullopt;
    // The stream owns the descriptor from now on.
    own.release();
    std::vector<std::string> names;
    // Only errno tells the end from a failure. The work on a name may leave one of its own.
    while (const dirent *entry = (errno = 0, ::readdir(stream.get())))
        if (const std::string_view name = entry->d_name; name != "." && name != "..")
            names.emplace_back(name);
    if (errno != 0)
        return std::nullopt;
    std::ranges::sort(names);
    return names;
}

} // namespace Common
