#include "kelp/core/kelp/rpm-package.h"

#include "kelp/core/common/error.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package-extraction.h"
#include "kelp/core/kelp/package-staging.h"
#include "kelp/core/kelp/resolve-link.h"

#include <sys/xattr.h>

#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

/// By the descriptor: a path could lead through what somebody put there in the meantime.
void setAttribute(const FileDescriptor &file, const fs::path &path, const char *name,
                  std::string_view value) {
    if (!value.empty() && ::fsetxattr(file.get(), name, value.data(), value.size(), 0) != 0)
        throw Error(ErrorCode::Filesystem,
                    "Couldn't set extended attribute " + std::string(name) + " of " + path.string());
}

std::string textOf(const PackageSignatures::Bytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

void signFile(const FileDescriptor &file, const fs::path &path, const std::string &id,
              const PackageSignatures::Cms &developer, int fileIndex) {
    setAttribute(file, path, "user.TA.shdr", textOf(developer.trustletSignature(fileIndex)));
    setAttribute(file, path, "security.appid", id);
    setAttribute(file, path, "security.ima", textOf(developer.fileSignature(fileIndex)));
}

} // namespace

RpmPackage::RpmPackage(std::string id, std::string version, std::string architecture,
                       PackageSignatureInfo firstSignature, PackageSignatureInfo secondSignature,
                       std::optional<std::string> orgName, std::optional<std::string> appName,
                       std::vector<Mapping> mappings, std::vector<PackageSignatures::Cms> cmsSignatures,
                       std::vector<FileEntry> files) :
    Package(std::move(id), std::move(version), std::move(architecture), std::move(firstSignature),
            std::move(secondSignature), std::move(orgName), std::move(appName)),
    cmsSignatures_(std::move(cmsSignatures)),
    files_(std::move(files)),
    mappings_(std::move(mappings)) {}

PackageStaging RpmPackage::extract(const fs::path &destination, const fs::path &versionDirectory) const {
    if (path_.empty())
        throw Error(ErrorCode::FileNotFound, "Couldn't open rpm package");
    const auto developer = PackageSignatures::developerCmsFromVector(cmsSignatures_);
    const auto profile =
        developer ? Validator::profileFromCertificate(developer->certificate()) : Validator::Profile::Regular;

    const auto requireSignature = [&] {
        if (!developer)
            throw Error(ErrorCode::MissingDeveloperSignature, "Package doesn't have developer signature");
    };
    const auto attachAttributes = [&](const PackageExtraction::Entry &entry, const FileDescriptor &file) {
        if (entry.signable)
            signFile(file, entry.path, id(), *developer, entry.fileIndex);
    };
    PackageExtraction extraction(destination, versionDirectory, mappings_, PackageExtraction::Failure::Ends);
    extraction.run(path_, profile, {requireSignature, attachAttributes});
    extraction.applyPermissions();
    return {destination, id(), version(), orgName(), appName()};
}

void RpmPackage::validate(const fs::path &destination, Validator::Profile profile) const {
    PackageExtraction extraction(destination, destination, mappings_, PackageExtraction::Failure::IsReported);
    extraction.run(path_, profile, {});
}

fs::path RpmPackage::packagePath(const FileEntry &entry) const {
    return packagePathOf(entry.path, mappings_);
}

void RpmPackage::extractDirectory(const fs::path &destination, const FileEntry &entry) const {
    const fs::path target = destination / packagePath(entry);
    Common::createDirectories(target);
    Common::setPermissions(target, std::get<Common::Rpm::Directory>(entry.kind).permissions);
}

void RpmPackage::extractLink(const fs::path &destination, const fs::path &versionDirectory,
                             const FileEntry &entry) const {
    const auto [link, target] =
        resolveLink(entry.path, std::get<Common::Rpm::Symlink>(entry.kind).target, destination,
                    versionDirectory, [&](const fs::path &path) { return packagePathOf(path, mappings_); });
    Common::createSymlink(target, link);
}

} // namespace Core::KELP
