#include "kelp/core/common/rpm/packed-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <rpm/rpmfi.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>

namespace Common::Rpm {

namespace {

using Chunk = std::span<const std::uint8_t>;

constexpr std::size_t chunkSize = 0x20000;

/// Writes all of `chunk`; false with errno set when that is not possible.
bool writeAll(int file, Chunk chunk) {
    while (!chunk.empty()) {
        const ssize_t written = ::write(file, chunk.data(), chunk.size());
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            chunk = chunk.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

[[noreturn]] void raiseUnwritable(const std::filesystem::path &path) {
    throw Error(ErrorCode::Filesystem, "Couldn't write rpm package content to " + path.string());
}

} // namespace

PackedFile::PackedFile(std::filesystem::perms bits, std::shared_ptr<rpmfi_s> archive) :
    RegularFile{bits}, archive_(std::move(archive)), size_(rpmfiFSize(archive_.get())) {}

template<class Sink>
void PackedFile::read(const Sink &sink) const {
    std::vector<std::uint8_t> buffer(std::min<std::uint64_t>(size_, chunkSize));
    for (std::uint64_t remaining = size_; remaining > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(remaining, buffer.size());
        const ssize_t got = rpmfiArchiveRead(archive_.get(), buffer.data(), wanted);
        // The end, too, is damage as long as the size that the header claims is not reached.
        if (got < 1)
            throw Error(ErrorCode::Internal, "Couldn't read content from rpm package");
        sink(Chunk(buffer.data(), static_cast<std::size_t>(got)));
        remaining -= static_cast<std::uint64_t>(got);
    }
}

void PackedFile::skip() const {
    read([](Chunk) {});
}

std::vector<std::uint8_t> PackedFile::readAll() const {
    std::vector<std::uint8_t> content;
    read([&](Chunk chunk) { content.insert(content.end(), chunk.begin(), chunk.end()); });
    return content;
}

void PackedFile::writeTo(const std::filesystem::path &path) const {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.get() < 0)
        throw Error(ErrorCode::Filesystem, "Couldn't open file for writing rpm content: " + path.string());
    writeTo(file.get(), path);
    // Some filesystems say only now that there was no room.
    if (::close(file.release()) != 0)
        raiseUnwritable(path);
}

void PackedFile::writeTo(int file, const std::filesystem::path &path) const {
    read([&](Chunk chunk) {
        if (!writeAll(file, chunk))
            raiseUnwritable(path);
    });
}

} // namespace Common::Rpm
