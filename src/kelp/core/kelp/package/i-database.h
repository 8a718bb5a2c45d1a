#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <string>
#include <vector>

namespace Core::KELP {

struct PackageStaging;

/// The package store; docs/formats.md has its files. A package is installed exactly when its link `current`
/// leads to a version of its own (StoreEntry). A state changes in single steps: a link is made, renamed or
/// removed. So a crash leaves the state before a step or after it; within an update, no version is current
/// between two steps. All failures are Common::Error; the codes named here are those of Common::ErrorCode.
class IDatabase {
public:
    virtual ~IDatabase() = default;

    /// Installs a version of a package that is not installed, and publishes its files. `extras` are further
    /// values for the descriptor, with keys "section.key". Raises Internal for an id that is installed, and
    /// leaves it as it was. A failure after the version became current removes the package; after an earlier
    /// one the package's directory may stay, and the package is not installed.
    virtual void install(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Puts a version in place for completeUpdate(). A failure leaves the current version alone and removes
    /// all others. Raises FileConflict where a foreign entry is in the way: a link or a file for the
    /// package's directory, a directory of the version, or one of the three links.
    virtual void prepareUpdate(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the prepared version current: removes the published files of the old one, publishes those of the
    /// new one and removes the old one. Raises Internal when nothing is prepared, FileConflict as
    /// prepareUpdate() and CorruptedInstalledPackage when the prepared version lacks its own descriptor;
    /// these change nothing. After any other failure the old version is current again, and published if the
    /// machine allows that. The package is removed if there is no old version, or none with a descriptor.
    virtual void completeUpdate(const std::string &id) = 0;

    /// Removes the package's published files and all of its versions. Foreign entries of its directory stay.
    /// A published file that cannot be removed is noted on disk, and the removal goes on. Raises
    /// PackageNotExist for an id that is not installed, FileConflict for one whose directory is a link, and
    /// Filesystem when a version cannot be removed, or a published file neither removed nor noted. If
    /// its descriptor is gone by then, packageInfo() removes the rest of a package that the registry has.
    virtual void remove(const std::string &id) = 0;

    /// The descriptor of the version of record: the prepared version, or else the current one. A prepared
    /// version whose descriptor is absent or malformed is dropped. Raises PackageNotExist for an id that is
    /// not installed, and CorruptedInstalledPackage without a usable descriptor. If that is absent or
    /// malformed, a package that the registry has as installed is removed. If it cannot be read for another
    /// reason, or is of another id or version, nothing changes.
    virtual PackageInformation packageInfo(const std::string &id) = 0;

    /// packageInfo() of every package, in no defined order. Failures are logged and left out.
    virtual std::vector<PackageInformation> packages() = 0;

    /// Raises Filesystem when the look fails, as hasPendingUpdate() does.
    virtual bool isInstalled(const std::string &id) = 0;
    virtual bool isVersionInstalled(const std::string &id, const std::string &version) = 0;

    /// Whether `version` is newer than the version of record in rpm's order. False when either cannot be
    /// read.
    virtual bool isNewerThanInstalled(const std::string &id, const std::string &version) = 0;

    virtual bool hasPendingUpdate(const std::string &id) = 0;

    /// Takes over the applications of the rpm database, by groups that fit the free space: stages their
    /// files, installs and publishes the trees, makes rpm forget the packages and records that in the
    /// registry. Packages without a developer certificate, and those of system developers, stay in rpm. A
    /// failure at one package, or a lack of space for it, is logged, and the others go on. Raises as
    /// RpmMigration::run() does; groups that were completed by then are in the store.
    virtual void migrateRpmPackages() = 0;

    /// Removes from a package's directory the links `next` and `prev` and all versions of its own but the one
    /// that `current` names. Failures are logged.
    virtual void cleanupVersionsExceptCurrent(const std::string &id) = 0;

    /// Removes the published files of the current version. A listed file that is no mapping any more stays.
    /// Failures are logged. Files that could not be removed are noted on disk; raises when that fails. Also
    /// raises when the published files cannot be determined.
    virtual void tryRemoveMappingsUsingCurrentDirectory(const std::string &id) = 0;
};

} // namespace Core::KELP
