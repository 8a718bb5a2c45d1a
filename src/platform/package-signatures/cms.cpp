#include "platform/package-signatures/cms.h"

#include <algorithm>
#include <utility>

namespace PackageSignatures {

namespace {

/// A file without a signature has an empty one, which becomes no attribute.
Bytes signatureAt(const std::map<int, Bytes> &signatures, int fileIndex) {
    const auto found = signatures.find(fileIndex);
    return found == signatures.end() ? Bytes() : found->second;
}

} // namespace

Cms::Cms(Group group, Certificate certificate, std::map<int, Bytes> fileSignatures,
         std::map<int, Bytes> trustletSignatures) :
    group_(group),
    certificate_(std::move(certificate)),
    fileSignatures_(std::move(fileSignatures)),
    trustletSignatures_(std::move(trustletSignatures)) {}

Bytes Cms::fileSignature(int fileIndex) const {
    return signatureAt(fileSignatures_, fileIndex);
}

Bytes Cms::trustletSignature(int fileIndex) const {
    return signatureAt(trustletSignatures_, fileIndex);
}

std::optional<Cms> developerCmsFromVector(const std::vector<Cms> &signatures) {
    const auto found = std::ranges::find(signatures, Group::Developer, &Cms::group);
    return found == signatures.end() ? std::nullopt : std::optional(*found);
}

} // namespace PackageSignatures
