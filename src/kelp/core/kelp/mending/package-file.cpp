#include "kelp/core/kelp/mending/package-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/rpm/payload-digest.h"

#include "platform/package-signatures/database.h"

namespace fs = std::filesystem;

namespace Core::KELP {

using Common::Error;
using Common::ErrorCode;

void refusePackage(const std::string &id, ErrorCode code) {
    throw Error(code, id + ": " + Common::ErrorCategory::make(code).message());
}

PackageSignatures::Certificate requiredDeveloper(const std::string &id) {
    const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
    const auto certificate = signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Developer);
    if (!certificate)
        refusePackage(id, ErrorCode::MissingDeveloperSignature);
    // The validator has no profile for it, and would end in an error of its own.
    if (PackageSignatures::subgroupToString(certificate->subgroup()) == "unknown")
        refusePackage(id, ErrorCode::DisallowedDeveloperSubgroup);
    if (certificate->isSystemDeveloperCertificate())
        refusePackage(id, ErrorCode::SystemPackageInstallationAttempt);
    return *certificate;
}

void requireWholePayload(const fs::path &file) {
    const Common::Rpm::Reader header(file, Common::Rpm::Signatures::Unchecked);
    if (!Common::Rpm::PayloadDigest(file, header).isRight())
        throw Error(ErrorCode::BadPackageContent, "The payload does not match its digest");
}

ScratchTree::ScratchTree(fs::path path) : path_(std::move(path)) {
    Common::removeAll(path_);
}

ScratchTree::~ScratchTree() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace Core::KELP
