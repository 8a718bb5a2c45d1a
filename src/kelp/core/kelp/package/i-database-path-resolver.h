#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Core::KELP {

/// Chooses one of a package's three links.
enum class PackageSlot : std::uint32_t {
    Previous = 0,
    Current = 1,
    Next = 2,
};

/// The paths of packages and versions in the store, and of files in the versions. docs/formats.md describes
/// these files.
///
///     DATABASE/ID/                     the package directory; its name is the package id
///     DATABASE/ID/VERSION/             one stored version: the package's own tree and the store's files
///     DATABASE/ID/{current,next,prev}  links to version directories, by absolute path
///
/// An id or version is taken as it is: one with a "/" can lead out of the store. The operations check nothing
/// and follow no link.
class IDatabasePathResolver {
public:
    virtual ~IDatabasePathResolver() = default;

    virtual std::filesystem::path packageDirectory(const std::string &id) const = 0;
    virtual std::filesystem::path previousDirectory(const std::string &id) const = 0;
    virtual std::filesystem::path currentDirectory(const std::string &id) const = 0;
    virtual std::filesystem::path nextDirectory(const std::string &id) const = 0;
    virtual std::filesystem::path versionDirectory(const std::string &id,
                                                   const std::string &version) const = 0;

    /// The list of the files that were published for a version.
    virtual std::filesystem::path symlinkListFile(const std::string &id, PackageSlot slot) const = 0;
    virtual std::filesystem::path symlinkListFile(const std::string &id,
                                                  const std::string &version) const = 0;

    /// The list of the directories that were made for them, or were there already.
    virtual std::filesystem::path generatedDirListFile(const std::string &id, PackageSlot slot) const = 0;
    virtual std::filesystem::path generatedDirListFile(const std::string &id,
                                                       const std::string &version) const = 0;

    virtual std::filesystem::path descriptorFile(const std::string &id, const std::string &version) const = 0;
    virtual std::filesystem::path descriptorFile(const std::string &id, PackageSlot slot) const = 0;

    /// The directory of files that the store itself adds to a version.
    virtual std::filesystem::path resourcesDirectory(const std::string &id,
                                                     const std::string &version) const = 0;
    virtual std::filesystem::path resourcesDirectory(const std::string &id, PackageSlot slot) const = 0;

    virtual std::filesystem::path integrityResourceFile(const std::string &id,
                                                        const std::string &version) const = 0;
    virtual std::filesystem::path integrityResourceFile(const std::string &id, PackageSlot slot) const = 0;

    /// The application manifest that the package ships.
    virtual std::filesystem::path manifestFile(const std::string &id, const std::string &version) const = 0;
    virtual std::filesystem::path manifestFile(const std::string &id, PackageSlot slot) const = 0;
};

} // namespace Core::KELP
