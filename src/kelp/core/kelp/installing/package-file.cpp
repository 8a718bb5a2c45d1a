#include "kelp/core/kelp/installing/package-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/digest.h"

#include "platform/package-signatures/database.h"

#include <optional>

namespace fs = std::filesystem;

namespace Core::KELP {

using Common::Error;
using Common::ErrorCode;

void refusePackage(const std::string &id, ErrorCode code, const std::string &more) {
    throw Error(code, id + ": " + Common::ErrorCategory::make(code).message() + more);
}

namespace {

/// Its own errors do not name the file.
std::optional<PackageSignatures::Certificate> developerOf(const std::string &id) {
    const std::string path = PackageSignatures::Database::defaultPath();
    try {
        return PackageSignatures::Database(path).packageCertificateWithGroup(
            id, PackageSignatures::Group::Developer);
    } catch (const std::exception &error) {
        throw Error(ErrorCode::Filesystem,
                    "Couldn't read the signature database " + path + ": " + error.what());
    }
}

} // namespace

PackageSignatures::Certificate requiredDeveloper(const std::string &id) {
    const auto certificate = developerOf(id);
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
    if (Common::lookFor(path_) && !fs::is_directory(fs::symlink_status(path_)))
        throw Error(ErrorCode::Filesystem, path_.string() + " is no tree of a killed installation");
    Common::removeAll(path_);
}

ScratchTree::~ScratchTree() {
    try {
        Common::removeAll(path_);
    } catch (const std::exception &error) {
        // The outcome stands; the next run for the package, or doctor --repair, removes the tree.
        Common::LogStream(Common::LogLevel::Warning) << error;
    }
}

} // namespace Core::KELP
