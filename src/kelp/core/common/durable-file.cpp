#include "kelp/core/common/durable-file.h"

#include "kelp/core/common/or-raise.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace fs = std::filesystem;

namespace Common {

namespace {

/// Owns a file descriptor, and turns the -1 of a system call into a std::system_error with that call's errno.
class Descriptor {
public:
    Descriptor(const fs::path &path, int flags) : fd_(::open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        check(fd_, path);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }

    int get() const { return fd_; }

    void write(std::string_view content, const fs::path &path) const {
        while (!content.empty()) {
            const ssize_t written = ::write(fd_, content.data(), content.size());
            if (written < 0 && errno == EINTR)
                continue;
            check(written, path);
            content.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    std::string readAll(const fs::path &path) const {
        std::string content;
        std::array<char, 64 * 1024> buffer;
        for (;;) {
            const ssize_t got = ::read(fd_, buffer.data(), buffer.size());
            if (got < 0 && errno == EINTR)
                continue;
            check(got, path);
            if (got == 0)
                return content;
            content.append(buffer.data(), static_cast<std::size_t>(got));
        }
    }

    static void check(ssize_t result, const fs::path &path) {
        if (result < 0)
            throw fs::filesystem_error("cannot write", path, std::error_code(errno, std::system_category()));
    }

private:
    int fd_;
};

/// Writes to `path`; the texts of the errors name `reported`.
void writeAs(const fs::path &reported, const fs::path &path, int flags, std::string_view content,
             Durability durability) {
    const Descriptor file =
        orRaise(ErrorCode::Filesystem, "Unable to open " + reported.string() + " file for writing",
                [&] { return Descriptor(path, O_WRONLY | O_CREAT | flags); });
    orRaise(ErrorCode::Filesystem, "Failed to write data to " + reported.string() + " file", [&] {
        file.write(content, path);
        if (durability == Durability::Flushed)
            Descriptor::check(::fsync(file.get()), path);
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
    fs::path next = path;
    next += ".new";
    std::error_code ignored;
    fs::remove(next, ignored);
    try {
        // O_EXCL: a package that ships a link of this name must not choose what is written to.
        writeAs(path, next, O_EXCL, content, durability);
        orRaise(ErrorCode::Filesystem, "Failed to write data to " + path.string() + " file",
                [&] { fs::rename(next, path); });
    } catch (...) {
        fs::remove(next, ignored);
        throw;
    }
}

void flushFile(const fs::path &path) {
    orRaise(ErrorCode::Filesystem, "Couldn't flush file to disk: " + path.string(), [&] {
        const Descriptor handle(path, O_RDONLY);
        Descriptor::check(::fsync(handle.get()), path);
    });
}

void reserveSpace(const fs::path &path, std::uintmax_t size) {
    orRaise(ErrorCode::Filesystem, "Couldn't reserve space: " + path.string(), [&] {
        const Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
        const int error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(size));
        if (error == 0)
            return;
        std::error_code ignored;
        fs::remove(path, ignored);
        throw fs::filesystem_error("cannot allocate", path, std::error_code(error, std::system_category()));
    });
}

std::optional<std::string> readIfExists(const fs::path &path) {
    return orRaise(ErrorCode::Filesystem, "Couldn't read file: " + path.string(),
                   [&]() -> std::optional<std::string> {
                       if (fs::symlink_status(path).type() == fs::file_type::not_found)
                           return std::nullopt;
                       return Descriptor(path, O_RDONLY).readAll(path);
                   });
}

void flushFilesystem(const fs::path &path) {
    orRaise(ErrorCode::Filesystem, "Couldn't flush filesystem to disk: " + path.string(), [&] {
        const Descriptor handle(path, O_RDONLY);
        Descriptor::check(::syncfs(handle.get()), path);
    });
}

void flushFilesystems(const std::set<fs::path> &paths) {
    std::set<dev_t> flushed;
    for (const fs::path &path : paths) {
        struct stat status {};
        fs::path place = path;
        while (::stat(place.c_str(), &status) != 0 && place.has_relative_path())
            place = place.parent_path();
        if (flushed.insert(status.st_dev).second)
            flushFilesystem(place);
    }
}

} // namespace Common
