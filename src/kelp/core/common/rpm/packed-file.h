#pragma once

#include "kelp/core/common/rpm/package-entry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct rpmfi_s;

namespace Common::Rpm {

/// A regular file of a package whose content lies in the payload. The content can be read once, and only
/// until the callback that got this entry returns. If the callback does not read it, the walk skips it.
///
/// Every operation that reads does so in pieces of at most 128 KiB, whatever size the package claims. It
/// raises ErrorCode::Internal "Couldn't read content from rpm package" when the payload is damaged or ends
/// before the claimed size, and at a second read of a file that is not empty.
class PackedFile : public RegularFile {
public:
    /// A piece of a content, which its receiver may keep.
    struct Piece {
        std::unique_ptr<std::uint8_t[]> bytes;
        std::size_t size = 0;
    };

    /// The current file of an archive reader of librpm.
    PackedFile(std::filesystem::perms bits, std::shared_ptr<rpmfi_s> archive);

    /// The size in bytes that the header claims: no more will be read, but there may be less.
    std::uint64_t size() const { return size_; }

    /// Reads the content and drops it.
    void skip() const;

    /// The whole content. Takes as much memory as the payload holds, which has no bound.
    std::vector<std::uint8_t> readAll() const;

    /// Writes the content to `path`, a new file or one whose content it replaces. The parent directory must
    /// exist, and the caller sets the permissions. Also raises ErrorCode::Filesystem "Couldn't open file for
    /// writing rpm content: PATH" or "Couldn't write rpm package content to PATH". After the opening, a
    /// failure leaves the file incomplete.
    void writeTo(const std::filesystem::path &path) const;

    /// Reads the content and gives it to `sink` piece by piece. Exceptions of `sink` pass.
    void read(const std::function<void(Piece)> &sink) const;

    /// Writes a piece to an open file, from its present position. `path` only names it in the error, which is
    /// the second one above.
    static void write(int file, const Piece &piece, const std::filesystem::path &path);

private:
    std::shared_ptr<rpmfi_s> archive_;
    std::uint64_t size_;
};

} // namespace Common::Rpm
