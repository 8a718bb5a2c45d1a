#pragma once

#include "platform/package-signatures/certificate.h"

#include "kelp/core/common/errors/error-category.h"

#include <filesystem>
#include <string>

namespace Core::KELP {

// Checks of a package file, and the place to unpack it, for installation and repair.

/// Raises the code with the id, the code's own message and `more`.
[[noreturn]] void refusePackage(const std::string &id, Common::ErrorCode code, const std::string &more = {});

/// The certificate by which a package is judged. Raises the code of the refusal for a package without a
/// certificate, or with one that may not install. Raises ErrorCode::Filesystem if the signature database
/// cannot be read.
PackageSignatures::Certificate requiredDeveloper(const std::string &id);

/// librpm looks at the header's digests alone. Raises ErrorCode::BadPackageContent "The payload does not
/// match its digest", and as Reader and PayloadDigest do. A package without a digest passes.
void requireWholePayload(const std::filesystem::path &file);

/// A tree that is removed by the destructor. Its constructor removes what a killed run left at its place: a
/// package file can bring that again. Raises ErrorCode::Filesystem, and touches nothing, for anything but a
/// directory there, which is somebody else's. Raises likewise if the look or the removal fails.
class ScratchTree {
public:
    explicit ScratchTree(std::filesystem::path path);
    ScratchTree(const ScratchTree &) = delete;
    ScratchTree &operator=(const ScratchTree &) = delete;
    ~ScratchTree();

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace Core::KELP
