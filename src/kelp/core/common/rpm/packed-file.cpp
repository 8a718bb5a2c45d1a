#include "kelp/core/common/rpm/packed-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <rpm/rpmfi.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace Common::Rpm {

namespace {

constexpr std::size_t pieceSize = 0x20000;

[[noreturn]] void raiseUnwritable(const std::filesystem::path &path) {
    throw Error(ErrorCode::Filesystem, "Couldn't write rpm package content to " + path.string(), errno);
}

} // namespace

PackedFile::PackedFile(std::filesystem::perms bits, std::shared_ptr<rpmfi_s> archive) :
    RegularFile{bits}, archive_(std::move(archive)), size_(rpmfiFSize(archive_.get())) {}

void PackedFile::read(const std::function<void(Piece)> &sink) const {
    for (std::uint64_t remaining = size_; remaining > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(remaining, pieceSize);
        // Not filled with zeros: that would double the bytes to write.
        Piece piece{std::make_unique_for_overwrite<std::uint8_t[]>(wanted)};
        const ssize_t got = rpmfiArchiveRead(archive_.get(), piece.bytes.get(), wanted);
        // An end before the header's size is damage too.
        if (got < 1)
            throw Error(ErrorCode::Internal, "Couldn't read content from rpm package");
        piece.size = static_cast<std::size_t>(got);
        remaining -= piece.size;
        sink(std::move(piece));
    }
}

void PackedFile::skip() const {
    read([](const Piece &) {});
}

std::vector<std::uint8_t> PackedFile::readAll() const {
    std::vector<std::uint8_t> content;
    read([&](const Piece &piece) {
        content.insert(content.end(), piece.bytes.get(), piece.bytes.get() + piece.size);
    });
    return content;
}

void PackedFile::writeTo(const std::filesystem::path &path) const {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.get() < 0)
        throw Error(ErrorCode::Filesystem, "Couldn't open file for writing rpm content: " + path.string(),
                    errno);
    read([&](const Piece &piece) { write(file.get(), piece, path); });
    // Some filesystems report a full disk only at the close.
    if (::close(file.release()) != 0)
        raiseUnwritable(path);
}

void PackedFile::write(int file, const Piece &piece, const std::filesystem::path &path) {
    for (std::size_t done = 0; done < piece.size;) {
        const ssize_t written = ::write(file, piece.bytes.get() + done, piece.size - done);
        if (written < 0 && errno != EINTR)
            raiseUnwritable(path);
        if (written > 0)
            done += static_cast<std::size_t>(written);
    }
}

} // namespace Common::Rpm
