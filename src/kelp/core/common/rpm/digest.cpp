#include "kelp/core/common/rpm/digest.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/tag-data.h"

#include <fcntl.h>
#include <unistd.h>

#include <rpm/header.h>
#include <rpm/rpmcrypto.h>
#include <rpm/rpmtag.h>
#include <rpm/rpmtd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

namespace Common::Rpm {

void Digest::Release::operator()(DIGEST_CTX_s *context) const {
    rpmDigestFinal(context, nullptr, nullptr, 0);
}

Digest::Digest(int algorithm) : context_(rpmDigestInit(algorithm, RPMDIGEST_NONE)) {}

void Digest::update(std::string_view bytes) {
    rpmDigestUpdate(context_.get(), bytes.data(), bytes.size());
}

std::string Digest::finish() {
    void *digest = nullptr;
    rpmDigestFinal(context_.release(), &digest, nullptr, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(digest, std::free);
    return digest ? static_cast<const char *>(digest) : "";
}

std::string sha256Of(const std::string &text) {
    Digest digest;
    digest.update(text);
    return digest.finish();
}

std::string sha256Of(int file, const std::string &name, std::uint64_t size) {
    constexpr std::size_t pieceSize = 64U << 10;
    std::array<char, pieceSize> piece;
    Digest digest;
    for (ssize_t got = 1; got != 0 && size > 0;) {
        got =
            ::read(file, piece.data(), static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), size)));
        if (got > 0) {
            digest.update({piece.data(), static_cast<std::size_t>(got)});
            size -= static_cast<std::uint64_t>(got);
        } else if (got < 0 && errno != EINTR) {
            throw Error(ErrorCode::Filesystem, "Couldn't read file: " + name, errno);
        }
    }
    return digest.finish();
}

std::string sha256Beneath(int directory, const std::string &path, const std::string &name) {
    const FileDescriptor file =
        openBeneath(directory, path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file.get() < 0)
        throw Error(ErrorCode::Filesystem, "Couldn't read file: " + name, errno);
    return sha256Of(file.get(), name);
}

namespace {

constexpr std::streamoff leadSize = 96;
constexpr std::size_t introSize = 16; ///< Of a header: magic, number of entries, size of the data.
constexpr std::size_t readSize = 0x40000;

/// The first text or number of a tag, or all its bytes in hexadecimal digits; empty when it is not there.
std::string textOf(const Reader &reader, rpmTagVal tag) {
    const TagData data = makeTagData();
    if (headerGet(reader.header(), tag, data.get(), HEADERGET_MINMEM) == 0)
        return {};
    const std::unique_ptr<char, decltype(&std::free)> text(
        rpmtdFormat(data.get(), RPMTD_FORMAT_STRING, nullptr), std::free);
    return text ? text.get() : "";
}

std::uint32_t numberAt(const std::array<char, introSize> &bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

/// The size of the header that begins here.
std::streamoff headerSize(std::istream &file) {
    std::array<char, introSize> intro{};
    file.read(intro.data(), intro.size());
    return static_cast<std::streamoff>(introSize) + 16 * std::streamoff(numberAt(intro, 8)) +
           numberAt(intro, 12);
}

/// Moves past the signatures, and past the header if that is not covered.
void seekCovered(std::istream &file, bool coversHeader) {
    file.seekg(leadSize);
    // Wrong sizes lead to other bytes or past the end: no digest fits those.
    const std::streamoff signatures = headerSize(file);
    // Only the signatures are padded to a multiple of eight.
    const std::streamoff header = leadSize + (signatures + 7) / 8 * 8;
    file.seekg(header);
    if (!coversHeader)
        file.seekg(header + headerSize(file));
}

std::string digestOf(std::istream &rest, int algorithm) {
    // Empty for an algorithm that librpm does not know: then the package is not right.
    Digest digest(algorithm);
    std::vector<char> chunk(readSize);
    while (rest.read(chunk.data(), static_cast<std::streamsize>(chunk.size())) || rest.gcount() > 0)
        digest.update({chunk.data(), static_cast<std::size_t>(rest.gcount())});
    return digest.finish();
}

} // namespace

PayloadDigest::PayloadDigest(std::filesystem::path package, const Reader &header) :
    package_(std::move(package)), expected_(textOf(header, RPMTAG_PAYLOADDIGEST)) {
    // Old packages have one MD5 digest over header and payload.
    coversHeader_ = expected_.empty();
    if (coversHeader_)
        expected_ = textOf(header, RPMTAG_SIGMD5);
    algorithm_ = coversHeader_ ? RPM_HASH_MD5 : std::atoi(textOf(header, RPMTAG_PAYLOADDIGESTALGO).c_str());
}

bool PayloadDigest::isRight() const {
    if (expected_.empty())
        return true;
    std::ifstream file(package_, std::ios::binary);
    if (!file)
        throw Error(ErrorCode::FileNotFound, "Couldn't open rpm package");
    seekCovered(file, coversHeader_);
    return digestOf(file, algorithm_) == expected_;
}

} // namespace Common::Rpm
