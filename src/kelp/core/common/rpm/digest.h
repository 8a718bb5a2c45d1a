#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

struct DIGEST_CTX_s;

namespace Common::Rpm {

/// A digest by librpm, which all our programs load anyway, and which is about as fast as any
/// (docs/benchmarks.md).
class Digest {
public:
    static constexpr int sha256 = 8; ///< As rpm numbers the algorithms.

    /// With an algorithm that librpm does not know, the digest is empty.
    explicit Digest(int algorithm = sha256);

    void update(std::string_view bytes);

    /// In lower-case hexadecimal digits. Nothing can be added after that.
    std::string finish();

private:
    struct Release {
        void operator()(DIGEST_CTX_s *context) const;
    };
    std::unique_ptr<DIGEST_CTX_s, Release> context_;
};

/// The SHA-256 of a text, in lower-case hexadecimal digits.
std::string sha256Of(const std::string &text);

/// The SHA-256 of the next `size` bytes of an open file, from its present position, or of all up to its end.
/// Given the size, no read is needed to find the end; for a small file that read costs as much as the
/// content. Raises ErrorCode::Filesystem "Couldn't read file: NAME"; `name` only stands in that text.
std::string sha256Of(int file, const std::string &name,
                     std::uint64_t size = std::numeric_limits<std::uint64_t>::max());

/// The same of a file below an open directory, by a relative path on which no link is followed. Does not wait
/// for a pipe's writer.
std::string sha256Beneath(int directory, const std::string &path, const std::string &name);

/// A package's digest of its payload, which librpm does not check when it reads a package.
class PayloadDigest {
public:
    /// Reads the header; the payload is not touched.
    PayloadDigest(std::filesystem::path package, const Reader &header);

    /// Reads the payload, and returns whether its digest is the one that the package names. Old packages name
    /// one digest of header and payload together: then that one is compared. Returns true for a package
    /// without either. A read that fails counts as the end of the file. Raises ErrorCode::FileNotFound
    /// "Couldn't open rpm package". It reads the file by itself, without librpm's state, so it may run in
    /// another thread.
    bool isRight() const;

private:
    std::filesystem::path package_;
    std::string expected_; ///< In hexadecimal digits; empty for none.
    int algorithm_ = 0;    ///< As rpm numbers them.
    bool coversHeader_ = false;
};

} // namespace Common::Rpm
