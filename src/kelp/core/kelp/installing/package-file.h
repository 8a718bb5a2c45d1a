#pragma once

#include "platform/package-signatures/certificate.h"

#include "kelp/core/common/errors/error-category.h"

#include <filesystem>
#include <string>

namespace Core::KELP {

// What an installation and a repair ask of a package file, and of where they unpack it.

/// Raises the code with the id and the code's own message.
[[noreturn]] void refusePackage(const std::string &id, Common::ErrorCode code);

/// The certificate by which a package is judged. Raises the code of the refusal for a package without one, or
/// with one under which nothing is installed.
PackageSignatures::Certificate requiredDeveloper(const std::string &id);

/// librpm looks at the header's digests alone. Raises ErrorCode::BadPackageContent "The payload does not
/// match its digest", and as Reader does.
void requireWholePayload(const std::filesystem::path &file);

/// A tree that is gone at the end, wherever that is. What a killed run has left at its place goes at the
/// beginning: it came out of a package file, and can again.
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
