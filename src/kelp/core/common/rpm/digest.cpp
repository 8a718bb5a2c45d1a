#include "kelp/core/common/rpm/digest.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <rpm/rpmcrypto.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

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

std::string sha256Of(int file, const std::string &name) {
    constexpr std::size_t pieceSize = 64U << 10;
    std::array<char, pieceSize> piece;
    Digest digest;
    for (ssize_t size = 1; size != 0;) {
        size = ::read(file, piece.data(), piece.size());
        if (size > 0)
            digest.update({piece.data(), static_cast<std::size_t>(size)});
        else if (size < 0 && errno != EINTR)
            throw Error(ErrorCode::Filesystem, "Couldn't read file: " + name, errno);
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

} // namespace Common::Rpm
