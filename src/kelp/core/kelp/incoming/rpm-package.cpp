#include "kelp/core/kelp/incoming/rpm-package.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/incoming/link-targets.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/package-information.h"

namespace fs = std::filesystem;

namespace Core::KELP {

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

const std::vector<RpmPackage::FileEntry> &RpmPackage::files() const {
    if (!files_)
        files_ = (this->*readFiles_)();
    return *files_;
}

PackageStaging RpmPackage::extract(const fs::path &destination, const fs::path &versionDirectory) const {
    if (!extractFile_)
        throw Common::Error(Common::ErrorCode::FileNotFound, "Couldn't open rpm package");
    return (this->*extractFile_)(destination, versionDirectory);
}

fs::path RpmPackage::packagePath(const FileEntry &entry) const {
    return packagePathOf(entry.path, mappings_);
}

void RpmPackage::extractDirectory(const fs::path &destination, const FileEntry &entry) const {
    const fs::path target = destination / packagePath(entry);
    Common::createDirectories(target);
    // Ignores the umask: the package's programs expect the package's permissions.
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
