#include "kelp/core/common/files/durable-file.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace fs = std::filesystem;

namespace Common {

namespace {

/// Turns the -1 of a system call into an exception with that call's errno.
void check(ssize_t result, const fs::path &path, const char *what = "cannot write") {
    if (result < 0)
        throw fs::filesystem_error(what, path, std::error_code(errno, std::system_category()));
}

FileDescriptor opened(const fs::path &path, int flags) {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0666));
    check(file.get(), path, "cannot open");
    return file;
}

void writeAll(const FileDescriptor &file, std::string_view content, const fs::path &path) {
    while (!content.empty()) {
        const ssize_t written = ::write(file.get(), content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        check(written, path);
        content.remove_prefix(static_cast<std::size_t>(written));
    }
}

constexpr const char *cannotRead = "cannot read";

/// A sparse file can claim more than fits in memory.
void requireText(const FileDescriptor &file, std::uintmax_t longest, const fs::path &path) {
    struct stat status {};
    check(::fstat(file.get(), &status), path, cannotRead);
    if (!S_ISREG(status.st_mode) || static_cast<std::uintmax_t>(status.st_size) > longest)
        throw fs::filesystem_error("no file of a size to read", path,
                                   std::make_error_code(std::errc::invalid_argument));
}

std::string readAll(const FileDescriptor &file, const fs::path &path) {
    std::string content;
    std::array<char, std::size_t(64) << 10> buffer;
    for (;;) {
        const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        check(got, path, cannotRead);
        if (got == 0)
            return content;
        content.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

/// 0, or the errno.
int lookAt(const fs::path &path, struct stat &status) {
    return ::stat(path.c_str(), &status) == 0 ? 0 : errno;
}

/// Writes to `path`; the texts of the errors name `reported`.
void writeAs(const fs::path &reported, const fs::path &path, int flags, std::string_view content,
             Durability durability) {
    const FileDescriptor file =
        reraiseAs(ErrorCode::Filesystem, "Unable to open " + reported.string() + " file for writing",
                  [&] { return opened(path, O_WRONLY | O_CREAT | flags); });
    reraiseAs(ErrorCode::Filesystem, "Failed to write data to " + reported.string() + " file", [&] {
        writeAll(file, content, path);
        // Flushed before the rename: a name can reach the disk before its content.
        if (durability == Durability::Flushed)
            check(::fsync(file.get()), path);
    });
}

} // namespace

void writeDurably(const fs::path &path, std::string_view content) {
    writeAs(path, path, O_TRUNC, content, Durability::Flushed);
}

void replaceDurably(const fs::path &path, std::string_view content) {
    replaceFile(path, content, Durability::Flushed);
}

void replaceFile(const fs::path &path, std::string_view content, Durability durability) {
    // A neighbour: only within one directory is the rename sure to be one step.
    fs::path next = path;
    next += ".new";
    std::error_code ignored;
    fs::remove(next, ignored);
    try {
        // O_EXCL: a package that ships a link of this name must not choose the written file.
        writeAs(path, next, O_EXCL, content, durability);
        reraiseAs(ErrorCode::Filesystem, "Failed to write data to " + path.string() + " file",
                  [&] { fs::rename(next, path); });
    } catch (...) {
        fs::remove(next, ignored);
        throw;
    }
}

/// Also flushes a directory, and with it a rename or a removal in it.
void flushFile(const fs::path &path) {
    reraiseAs(ErrorCode::Filesystem, "Couldn't flush file to disk: " + path.string(), [&] {
        const FileDescriptor handle = opened(path, O_RDONLY | O_NONBLOCK);
        check(::fsync(handle.get()), path);
    });
}

std::optional<std::string> readIfExists(const fs::path &path, std::uintmax_t longest) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't read file: " + path.string(),
                     [&]() -> std::optional<std::string> {
                         // A dangling link exists, and cannot be read: a caller that cleans up on "none" must
                         // not get that answer.
                         if (fs::symlink_status(path).type() == fs::file_type::not_found)
                             return std::nullopt;
                         const FileDescriptor file = opened(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
                         return readText(file, path, longest);
                     });
}

std::string readText(const FileDescriptor &file, const fs::path &path, std::uintmax_t longest) {
    requireText(file, longest, path);
    return readAll(file, path);
}

void flushFilesystem(const fs::path &path) {
    reraiseAs(ErrorCode::Filesystem, "Couldn't flush filesystem to disk: " + path.string(), [&] {
        // O_NONBLOCK: does not wait for the writer of a pipe, which anybody may have put there.
        const FileDescriptor handle = opened(path, O_RDONLY | O_NONBLOCK);
        // One call for all files written there: a flush of each would wait for the disk each time.
        check(::syncfs(handle.get()), path);
    });
}

void flushFilesystems(const std::set<fs::path> &paths) {
    std::set<dev_t> flushed;
    for (const fs::path &path : paths) {
        struct stat status {};
        fs::path place = path;
        int failure = lookAt(place, status);
        // For a removed file, its directory must be flushed.
        for (; provesAbsence(failure) && place.has_relative_path(); failure = lookAt(place, status))
            place = place.parent_path();
        // A look that failed may have been of any filesystem: the place's own is flushed, or that fails.
        if (failure != 0 || flushed.insert(status.st_dev).second)
            flushFilesystem(place);
    }
}

} // namespace Common
