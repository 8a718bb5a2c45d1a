#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

namespace Validator {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;
using Common::FileIdentity;

/// A mapping costs two calls and a fault, and its end an interrupt of every other thread.
constexpr std::uint64_t largestCopied = 0x10000;

/// The path for which a Sharing lives, and its file as soon as somebody has opened it.
struct Shared {
    std::filesystem::path path;
    std::shared_ptr<const MappedFile> file;
};

thread_local Shared shared;

[[noreturn]] void raiseUnreadable(const std::filesystem::path &path, int reason) {
    throw Error(ErrorCode::Filesystem, "Couldn't map file: " + path.string(), reason);
}

/// Nothing unless this is a regular file.
std::optional<FileIdentity> identityOfRegular(const FileDescriptor &file, const std::filesystem::path &path) {
    // Of the open file and not of its path, so that what was looked at is what is mapped.
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        raiseUnreadable(path, errno);
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
    return Common::identityOf(status);
}

/// All of the file. Fails for one that the address space of a small device cannot hold: judged by its first
/// part, or as an empty one, it would have its rest slip past every checker.
std::string_view map(const FileDescriptor &file, std::uint64_t size, const std::filesystem::path &path) {
    const auto length = static_cast<std::size_t>(size);
    if (!std::cmp_equal(length, size))
        raiseUnreadable(path, EFBIG);
    void *address = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (address == MAP_FAILED)
        raiseUnreadable(path, errno);
    return {static_cast<const char *>(address), length};
}

} // namespace

MappedFile::Sharing::Sharing(const std::filesystem::path &path) {
    shared = {path, nullptr};
}

MappedFile::Sharing::~Sharing() {
    shared = {};
}

std::shared_ptr<const MappedFile> MappedFile::open(const std::filesystem::path &path) {
    if (shared.path.empty() || shared.path.native() != path.native())
        return openAnew(path);
    if (!shared.file)
        shared.file = openAnew(path);
    return shared.file;
}

std::shared_ptr<const MappedFile> MappedFile::openAnew(const std::filesystem::path &path) {
    // Without O_NONBLOCK the open itself would wait for a pipe's writer.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto identity = identityOfRegular(file, path);
    if (!identity)
        return nullptr;
    const std::shared_ptr<MappedFile> mapped(new MappedFile(*identity));
    mapped->read(file, path);
    return mapped;
}

void MappedFile::read(const FileDescriptor &file, const std::filesystem::path &path) {
    if (identity_.size > largestCopied) {
        bytes_ = map(file, identity_.size, path);
        return;
    }
    copy_.resize(identity_.size);
    const ssize_t got = ::pread(file.get(), copy_.data(), copy_.size(), 0);
    if (got != std::ssize(copy_))
        raiseUnreadable(path, got < 0 ? errno : EIO);
    bytes_ = copy_;
}

void MappedFile::letGo() const {
    passed_ = 0;
    // Nothing is lost where it fails.
    if (copy_.empty())
        ::madvise(const_cast<char *>(bytes_.data()), bytes_.size(), MADV_DONTNEED);
}

MappedFile::~MappedFile() {
    if (copy_.empty() && !bytes_.empty())
        ::munmap(const_cast<char *>(bytes_.data()), bytes_.size());
}

} // namespace Validator
