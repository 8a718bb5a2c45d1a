#pragma once

#include "platform/package-signatures/certificate.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace PackageSignatures {

using Bytes = std::vector<std::uint8_t>;

/// One signature of a package file: the signer, and the signature of each file. Files are named by their
/// index in the package's file list.
class Cms {
public:
    Cms(Group group, Certificate certificate, std::map<int, Bytes> fileSignatures = {},
        std::map<int, Bytes> trustletSignatures = {});

    Group group() const { return group_; }
    const Certificate &certificate() const { return certificate_; }

    /// Empty when the file has none.
    Bytes fileSignature(int fileIndex) const;
    Bytes trustletSignature(int fileIndex) const;

private:
    Group group_;
    Certificate certificate_;
    std::map<int, Bytes> fileSignatures_;
    std::map<int, Bytes> trustletSignatures_;
};

/// The first signature of the developer group.
std::optional<Cms> developerCmsFromVector(const std::vector<Cms> &signatures);

} // namespace PackageSignatures
