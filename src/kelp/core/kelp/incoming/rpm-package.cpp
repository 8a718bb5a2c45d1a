#include "kelp/core/kelp/incoming/rpm-package.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/package-information.h"

namespace fs = std::filesystem;

namespace Core::KELP {

RpmPackage::RpmPackage(PackageIdentity identity, std::vector<Mapping> mappings,
                       std::vector<FileEntry> files) :
    Package(std::move(identity)), mappings_(std::move(mappings)), source_(std::move(files)) {}

const RpmPackage::File &RpmPackage::file() const {
    if (const auto *file = std::get_if<File>(&source_))
        return *file;
    throw Common::Error(Common::ErrorCode::FileNotFound, "Couldn't open rpm package");
}

const std::vector<RpmPackage::FileEntry> &RpmPackage::files() const {
    if (const auto *record = std::get_if<Record>(&source_))
        return *record;
    const File &package = file();
    if (!package.files)
        package.files = package.read(package);
    return *package.files;
}

PackageStaging RpmPackage::extract(const fs::path &destination, const fs::path &versionDirectory) const {
    return file().extract(*this, destination, versionDirectory);
}

fs::path RpmPackage::packagePath(const FileEntry &entry) const {
    return packagePathOf(entry.path, mappings_);
}

void RpmPackage::extractDirectory(const fs::path &destination, const FileEntry &entry) const {
    const fs::path path = packagePath(entry);
    const fs::path target = destination / path;
    Common::createDirectories(target);
    // Ignores the umask: the package's programs expect the package's permissions. But "/" is the tree itself:
    // the store keeps its own files there, by which root removes published ones.
    if (!path.empty())
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
