#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <string>
#include <vector>

namespace Core::KELP {

struct PackageStaging;

/// The package store; docs/formats.md describes its files. A package is installed exactly when its link
/// `current` leads to a version of its own (StoreEntry). Its state changes in single steps: one link is made,
/// renamed or removed. So a crash leaves the state before a step or after it. Between two steps of an update,
/// no version is current. All failures are Common::Error; the codes named here are those of
/// Common::ErrorCode.
class IDatabase {
public:
    virtual ~IDatabase() = default;

    /// Installs a version of a package that is not installed, and publishes its files. `extras` are further
    /// values for the descriptor, with keys "section.key". Raises Internal for an installed package, and
    /// leaves that as it was. A failure after the version became current removes the package. After an
    /// earlier failure the package is not installed, but its directory may stay.
    virtual void install(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Puts a version in place for completeUpdate(). After a failure the current version stays, and all
    /// others are removed; without a current version nothing is removed. Raises FileConflict where a foreign
    /// entry is in the way: a link or file in place of the package's directory, a directory in place of the
    /// version, or one of the three links.
    virtual void prepareUpdate(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the prepared version current: removes the published files of the old one, publishes those of the
    /// new one and removes the old one. Three failures change nothing: Internal when nothing is prepared,
    /// FileConflict as from prepareUpdate(), and CorruptedInstalledPackage when the prepared version lacks
    /// its own descriptor. After any other failure the old version is current again, if its link can be
    /// renamed, and published if the machine allows that. After such a failure the package is removed if it
    /// had no old version, or if the registry has it and the old version has no descriptor; what the disk
    /// hinders stays.
    virtual void completeUpdate(const std::string &id) = 0;

    /// Removes the package's published files and all of its versions. Foreign entries of its directory stay.
    /// Published files that cannot be removed are noted on disk (left-behind.h), and the removal goes on.
    /// Raises PackageNotExist for an id that is not installed, FileConflict if the package's directory is a
    /// link, and Filesystem when a version cannot be removed, or a published file neither removed nor noted.
    /// If its descriptor is gone by then, packageInfo() removes the rest of a package that the registry has.
    virtual void remove(const std::string &id) = 0;

    /// The descriptor of the version of record, which is the prepared version, or else the current one. Drops
    /// a prepared version whose descriptor is absent or malformed. Raises PackageNotExist for an id that is
    /// not installed, and CorruptedInstalledPackage if the version of record has no usable descriptor. If the
    /// current version's is absent or malformed, and the registry has the package as installed, the package
    /// is removed, unless a take-over is under way. A descriptor that cannot be read, or that is of another
    /// id or version, changes nothing.
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

    /// Takes over the applications of the rpm database, in groups that fit into the free space: stages their
    /// files, installs and publishes the trees, makes rpm forget the packages and records that in the
    /// registry. Packages without a developer certificate, and those of system developers, stay in rpm. A
    /// failure at one package, or a lack of space for it, is logged, and the others go on. Raises as
    /// RpmMigration::run() does; groups that were completed by then are in the store.
    virtual void migrateRpmPackages() = 0;

    /// Removes from a package's directory the links `next` and `prev` and all versions of its own but the one
    /// that `current` names. Failures are logged.
    virtual void cleanupVersionsExceptCurrent(const std::string &id) = 0;

    /// Removes the published files of the current version, and then their directories that are empty. At a
    /// listed place any link goes, unless it leads into another package, and any copy that has the attribute
    /// of published files. Other files stay. Files that cannot be removed are logged and noted on disk
    /// (left-behind.h). Raises when the note cannot be written, and when a failed read hides what was
    /// published; a missing or torn descriptor is only logged.
    virtual void tryRemoveMappingsUsingCurrentDirectory(const std::string &id) = 0;
};

} // namespace Core::KELP
