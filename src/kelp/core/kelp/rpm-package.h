#pragma once

#include "kelp/core/common/rpm/package-entry.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/package.h"

#include "platform/package-signatures/cms.h"

#include <filesystem>
#include <vector>

namespace Core::KELP {

/// A package of rpm: a package file, or the record of an installed one. Knows where in the package's tree
/// each of its files goes.
class RpmPackage final : public Package {
public:
    using FileEntry =
        Common::Rpm::PackageEntry<Common::Rpm::Directory, Common::Rpm::RegularFile, Common::Rpm::Symlink>;

    /// The record of an installed package. `mappings` are the rows for the way from the system to the
    /// package.
    RpmPackage(std::string id, std::string version, std::string architecture,
               PackageSignatureInfo firstSignature, PackageSignatureInfo secondSignature,
               std::optional<std::string> orgName, std::optional<std::string> appName,
               std::vector<Mapping> mappings, std::vector<PackageSignatures::Cms> cmsSignatures,
               std::vector<FileEntry> files);

    /// Needs a package file: raises ErrorCode::FileNotFound, "Couldn't open rpm package", for an installed
    /// package.
    PackageStaging extract(const std::filesystem::path &destination,
                           const std::filesystem::path &versionDirectory) const override;

    const std::vector<FileEntry> &files() const { return files_; }
    const std::vector<Mapping> &mappings() const { return mappings_; }

    // The steps for one entry of files(). `destination` is the staging directory. Both raise
    // ErrorCode::Filesystem, and leave what they have made by then.

    /// Makes the entry's directory, with its parents, and sets its permissions.
    void extractDirectory(const std::filesystem::path &destination, const FileEntry &entry) const;

    /// Makes the entry's symbolic link, with its parents; the link leads to where its target will lie when
    /// the staging directory has become `versionDirectory`.
    void extractLink(const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
                     const FileEntry &entry) const;

    /// Where in the package's tree the entry goes: a relative path.
    std::filesystem::path packagePath(const FileEntry &entry) const;

private:
    std::vector<PackageSignatures::Cms> cmsSignatures_;
    std::string path_; ///< Of the package file; empty for an installed package.
    std::vector<FileEntry> files_;
    std::vector<Mapping> mappings_;
};

} // namespace Core::KELP
