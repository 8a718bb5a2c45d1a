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

/// A mapping costs two calls and a fault, and its end interrupts every other thread.
constexpr std::uint64_t largestCopied = 0x10000;

/// The path of the living Sharing, and its file once it has been opened.
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
    // Of the open file and not of its path, so that the checked file is the mapped one.
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        raiseUnreadable(path, errno);
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
    return Common::identityOf(status);
}

/// Maps all of the file. Fails for one too large for the address space of a small device: judged in part or
/// as empty, its rest would slip past every checker.
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
    // A failure does no harm.
    if (copy_.empty())
        ::madvise(const_cast<char *>(bytes_.data()), bytes_.size(), MADV_DONTNEED);
}

MappedFile::~MappedFile() {
    if (copy_.empty() && !bytes_.empty())
        ::munmap(const_cast<char *>(bytes_.data()), bytes_.size());
}

struct stat statusOf(const std::string &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path, errno);
    return status;
}

} // namespace Validator
