#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <string>
#include <vector>

namespace Core::KELP {

struct PackageStaging;

/// The package store; docs/formats.md describes its files. A package is installed exactly when its link
/// `current` leads to a version of its own (StoreEntry). This state changes in single steps: one link is made
/// or renamed, or the directory to which it leads is gone. So a crash leaves the state before a step or after
/// it. An update renames `current` to `prev`, and then `next` to `current`; between these two steps no
/// version is current. All failures are Common::Error; the codes named here are those of Common::ErrorCode.
class IDatabase {
public:
    virtual ~IDatabase() = default;

    /// Installs a version of a package that is not installed, and publishes its files. `extras` are further
    /// values for the descriptor, with keys "section.key". Raises Internal for an installed package, and
    /// leaves that as it was. Also raises as prepareUpdate() and completeUpdate() do. A failure after the
    /// version became current removes the package. After an earlier failure the package is not installed, but
    /// its directory may stay.
    virtual void install(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Puts a version in place for completeUpdate(), and makes the link `next` to it. Raises FileConflict
    /// where a foreign entry is in the way: in place of the package's directory, of the version or of one of
    /// the three links. A link that leads elsewhere is foreign as well. A conflict at the package's directory
    /// or a link changes nothing, and neither does a failed look at them. After any other failure the current
    /// version stays, and all others are removed; without a current version the others stay too.
    virtual void prepareUpdate(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the prepared version current: removes the published files of the old one, publishes those of the
    /// new one and removes the old one. Four failures change nothing: Internal when nothing is prepared,
    /// FileConflict as from prepareUpdate(), CorruptedInstalledPackage when the prepared version has no
    /// readable descriptor of its own, and Filesystem when a look at the package's directory or links fails.
    ///
    /// Any other failure rolls back. The old version becomes current again, and is published if the machine
    /// allows that. But the package is removed if it had no old version. It is also removed if the registry
    /// has it, and the old version's descriptor is absent or malformed. If the disk refuses a step of the
    /// roll back, the versions and links stay as they are by then.
    virtual void completeUpdate(const std::string &id) = 0;

    /// Removes the package's published files and all of its versions. Foreign entries of its directory stay,
    /// except links at the places of `next` and `prev`. Published files that cannot be removed are noted on
    /// disk (left-behind.h), and the removal goes on. Raises PackageNotExist for an id that is not installed,
    /// and FileConflict if the package's directory is a link. Raises Filesystem when a version cannot be
    /// removed, a published file neither removed nor noted, or a failed read hides what was published. If the
    /// descriptor is gone by then, the next packageInfo() removes the rest, provided that the registry has
    /// the package as installed.
    virtual void remove(const std::string &id) = 0;

    /// The descriptor of the version of record, which is the prepared version, or else the current one.
    /// Raises PackageNotExist for an id that is not installed, CorruptedInstalledPackage if the version of
    /// record has no usable descriptor, Filesystem when a look fails, and Internal when the take-over journal
    /// is damaged.
    ///
    /// This look removes what is corrupted. If the descriptor of a prepared version is absent or malformed,
    /// all versions but the current one go. Without a usable prepared version, the current one counts. If its
    /// descriptor is absent or malformed, and the registry has the package as installed, the whole package
    /// goes. A package of a take-over under way stays as it is. So does one that is reached by a link, and
    /// one whose descriptor cannot be read, or is of another id or version.
    virtual PackageInformation packageInfo(const std::string &id) = 0;

    /// packageInfo() of every package, in no defined order. A failure of one is logged, and the package left
    /// out. So is a package that a take-over has not published yet. Raises Filesystem when the store or the
    /// take-over journal cannot be read, and Internal when that journal is damaged.
    virtual std::vector<PackageInformation> packages() = 0;

    /// Raises Filesystem when the look fails, as hasPendingUpdate() does.
    virtual bool isInstalled(const std::string &id) = 0;
    virtual bool isVersionInstalled(const std::string &id, const std::string &version) = 0;

    /// Whether `version` is newer than the version of record in rpm's order. Looks for that as packageInfo()
    /// does. False when either cannot be read. But if the version of record is a prepared one and cannot be
    /// compared, removes all versions but the current one, and compares with that one.
    virtual bool isNewerThanInstalled(const std::string &id, const std::string &version) = 0;

    virtual bool hasPendingUpdate(const std::string &id) = 0;

    /// Takes over the applications of the rpm database, in groups that fit into the free space: stages their
    /// files, installs and publishes the trees, makes rpm forget the packages and records that in the
    /// registry. Packages without a developer certificate, those of system developers, and those to which
    /// RpmSurvey objects stay in rpm. A failure at one package, or a lack of space for it, is logged, and the
    /// others go on. Raises as RpmMigration does; groups that were completed by then are in the store.
    virtual void migrateRpmPackages() = 0;

    /// Removes from a package's directory the links `next` and `prev` and all versions of its own but the one
    /// that `current` names. Failures are logged. If StoreEntry::objection() objects, that is logged too, and
    /// nothing is removed.
    virtual void cleanupVersionsExceptCurrent(const std::string &id) = 0;

    /// Removes the published files of the current version, and then the listed directories that are empty. A
    /// listed link goes, and so does a listed copy that has the attribute of published files. But it stays if
    /// the link's text, or the attribute, names a file of another package. Any other listed file stays. Files
    /// of an interrupted publication go too. If a list cannot be read, the version's own files are looked for
    /// at their targets, and removed. Files that cannot be removed are logged and noted on disk
    /// (left-behind.h). Raises when the note cannot be written, and when a failed read hides what was
    /// published; a missing or torn descriptor is only logged.
    virtual void tryRemoveMappingsUsingCurrentDirectory(const std::string &id) = 0;
};

} // namespace Core::KELP
