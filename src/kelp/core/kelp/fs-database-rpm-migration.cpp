// The part of FSDatabase that takes rpm packages over.

#include "kelp/core/common/copy.h"
#include "kelp/core/common/durable-file.h"
#include "kelp/core/common/error.h"
#include "kelp/core/common/extended-attributes.h"
#include "kelp/core/common/file-name.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/log-stream.h"
#include "kelp/core/common/path-tests.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/fs-database.h"
#include "kelp/core/kelp/i-database-path-resolver.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/registry-record.h"
#include "kelp/core/kelp/registry.h"
#include "kelp/core/kelp/rpm-package.h"

#include "platform/app-manifest/manifest-entry.h"
#include "platform/package-signatures/database.h"

#include <sys/stat.h>

#include <ctime>
#include <map>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;
using Common::Rpm::FileIterator;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;
using PackageSignatures::Certificate;
using PackageSignatures::Group;

namespace Tag = Common::Rpm::Tag;

constexpr const char *applicationIdAttribute = "security.appid";

/// For the descriptor, the lists, the links and the lines of the registry, with room to spare.
constexpr std::uintmax_t spacePerPackage = 64 * 1024;

struct Identity {
    std::string id;
    std::string version;
    std::string architecture;
};

Identity readIdentity(const Reader &reader) {
    Identity identity;
    identity.id = reader.tag(Tag::Name);
    const std::string release = reader.tag(Tag::Release);
    identity.version = reader.tag(Tag::Version) + "-" + release;
    identity.architecture = reader.tag(Tag::Architecture);
    return identity;
}

/// Logs why a package's data cannot be had.
template<class Read>
auto unlessUnreadable(const Read &read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        LogStream(LogLevel::Warning) << "Couldn't extract a package information required for migration";
        return std::nullopt;
    }
}

/// The certificate of a package that is to be taken over.
std::optional<Certificate> migrationCertificate(const std::string &id,
                                                const PackageSignatures::Database &signatures) {
    auto certificate = signatures.packageCertificateWithGroup(id, Group::Developer);
    if (!certificate)
        LogStream(LogLevel::Warning) << "Package " << id << " doesn't have developer certificate";
    else if (certificate->isSystemDeveloperCertificate())
        return std::nullopt;
    return certificate;
}

std::vector<RpmPackage::FileEntry> readFiles(const Reader &reader) {
    std::vector<RpmPackage::FileEntry> files;
    const auto append = [&](const FileIterator::Entry &entry) {
        files.push_back(entry);
        return false;
    };
    FileIterator(reader).forEach(append, FileIterator::Names::All);
    return files;
}

RpmPackage describe(const Reader &reader, const Identity &identity, const Certificate &certificate) {
    std::optional<std::string> orgName;
    std::optional<std::string> appName;
    if (const auto manifest =
            AppManifest::ManifestEntry::fromFilename("/usr/share/applications/" + identity.id + ".desktop")) {
        orgName = Common::asFileName(manifest->appOrgname());
        appName = Common::asFileName(manifest->appName());
    }
    auto mappings = buildMappings(identity.id, certificate.keyId(), orgName, appName, Rooted::No);
    return RpmPackage(identity.id, identity.version, identity.architecture, {}, {}, std::move(orgName),
                      std::move(appName), std::move(mappings), {}, readFiles(reader));
}

/// Where the installed files that have several names were staged, by device and inode.
using StagedInodes = std::map<std::pair<dev_t, ino_t>, fs::path>;

/// The place in `staged` of a file with several names; null for a file that has one.
fs::path *placeOfInode(const fs::path &path, StagedInodes &staged) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink < 2)
        return nullptr;
    return &staged[{status.st_dev, status.st_ino}];
}

/// The names of one file stay names of one file: copied each, they would take its space several times.
void copyOrLink(const fs::path &source, const fs::path &target, StagedInodes &staged) {
    fs::path *first = placeOfInode(source, staged);
    if (first && !first->empty()) {
        Common::createHardlink(*first, target);
        return;
    }
    Common::copy(source, target);
    if (first)
        *first = target;
}

void copyInstalledFile(const RpmPackage &package, const RpmPackage::FileEntry &entry, const fs::path &staging,
                       StagedInodes &staged) {
    if (!Common::exists(entry.path)) {
        LogStream(LogLevel::Warning) << "Attempt to copy a non-existent file during package migration: "
                                     << entry.path;
        return;
    }
    const fs::path target = staging / package.packagePath(entry);
    copyOrLink(entry.path, target, staged);
    if (entry.signable)
        Common::setExtendedAttribute(target, applicationIdAttribute, package.id());
}

void stageEntry(const RpmPackage &package, const RpmPackage::FileEntry &entry, const fs::path &staging,
                const fs::path &versionDirectory, StagedInodes &staged) {
    if (std::holds_alternative<Common::Rpm::Directory>(entry.kind))
        package.extractDirectory(staging, entry);
    else if (std::holds_alternative<Common::Rpm::Symlink>(entry.kind))
        package.extractLink(staging, versionDirectory, entry);
    else
        copyInstalledFile(package, entry, staging, staged);
}

/// Two packages of one name must not share a staging directory: the second would spoil the copies of the
/// first, which is about to be erased.
void makeStagingDirectory(const fs::path &staging) {
    if (Common::exists(staging))
        throw Error(ErrorCode::Filesystem,
                    "Couldn't create directory: " + staging.string() + " (path already exists)");
    Common::createDirectories(staging);
}

/// False, with the reason in the log, when a file cannot be copied.
bool stage(const RpmPackage &package, const fs::path &staging, const fs::path &versionDirectory) {
    try {
        makeStagingDirectory(staging);
        StagedInodes staged;
        for (const RpmPackage::FileEntry &entry : package.files())
            stageEntry(package, entry, staging, versionDirectory, staged);
        return true;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << "Failed to copy package " << package.id()
                                   << " files with mappings: " << error;
        return false;
    }
}

PackageInformation migrationExtras(const Certificate &certificate) {
    return {{"certificate.subgroup", PackageSignatures::subgroupToString(certificate.subgroup())},
            {"certificate.id", certificate.keyId()}};
}

void recordInstallation(const FSDatabase::PackageForMigration &package) {
    const auto keyId = package.extras.find("certificate.id");
    if (keyId == package.extras.end()) {
        LogStream(LogLevel::Warning) << "A record of package installation cannot be saved to the registry: "
                                     << package.id << " (udefined developer key id)";
        return;
    }
    const RegistryRecord record(RegistryEvent::Install, std::time(nullptr), package.id, keyId->second);
    if (!Registry().writeRecord(record))
        LogStream(LogLevel::Warning) << "Couldn't add a package installation record to the registry: "
                                     << package.id;
}

} // namespace

void FSDatabase::migrateRpmPackages() {
    clearTempDirectory();
    Transaction transaction(Transaction::WriteLock);
    transaction.addFlags(Transaction::NoPlugins);
    transaction.setProgressCallback();
    const std::vector<PackageForMigration> packages = prepareRpmPackagesForMigration(transaction);
    if (!packages.empty())
        secureStagedPackages(packages.size());
    transaction.run();
    // From here on the space is for the packages that are to be installed. A failure must not keep them out:
    // their copies are the only ones by now.
    std::error_code ignored;
    fs::remove(ballast(), ignored);
    for (const PackageForMigration &package : packages)
        installMigrated(package);
    // The stamp is about to say that all this is done: one that survived a power cut without the published
    // copies would have nobody make them again.
    if (!packages.empty())
        Common::flushFilesystem(configuration_->databaseDirectory());
}

void FSDatabase::clearTempDirectory() {
    try {
        if (Common::exists(configuration_->tempDirectory()))
            Common::removeAll(configuration_->tempDirectory());
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't cleanup database temporary directory";
        LogStream(LogLevel::Warning) << error;
    }
}

std::vector<FSDatabase::PackageForMigration>
FSDatabase::prepareRpmPackagesForMigration(Transaction &transaction) {
    const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
    std::vector<PackageForMigration> packages;
    transaction.forEachInstalled([&](const Reader &reader) {
        if (auto package = prepareRpmPackage(reader, signatures, transaction))
            packages.push_back(std::move(*package));
    });
    return packages;
}

std::optional<FSDatabase::PackageForMigration>
FSDatabase::prepareRpmPackage(const Reader &reader, const PackageSignatures::Database &signatures,
                              Transaction &transaction) {
    const auto identity = unlessUnreadable([&] { return readIdentity(reader); });
    const auto certificate = identity ? migrationCertificate(identity->id, signatures) : std::nullopt;
    if (!certificate)
        return std::nullopt;
    const auto package = unlessUnreadable([&] { return describe(reader, *identity, *certificate); });
    if (!package)
        return std::nullopt;

    const fs::path staging = configuration_->tempDirectory() / package->id();
    if (!stage(*package, staging, pathResolver_->versionDirectory(package->id(), package->version())))
        return std::nullopt;
    try {
        transaction.addErase(reader);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        return std::nullopt;
    }
    return PackageForMigration{
        {staging, package->id(), package->version(), package->orgName(), package->appName()},
        migrationExtras(*certificate)};
}

/// Makes sure, while rpm still has everything, that the copies will survive what follows.
void FSDatabase::secureStagedPackages(std::size_t count) {
    const fs::path &staged = configuration_->tempDirectory();
    // With the store on another filesystem no copy could be moved there, and all would be lost.
    const fs::path probe = staged / ".probe";
    const fs::path moved = configuration_->databaseDirectory() / ".probe";
    Common::createDirectories(probe);
    Common::move(probe, moved);
    Common::removeAll(moved);
    // On a full disk the copies would be there and not the space for their descriptors, without which they
    // are lost.
    Common::reserveSpace(ballast(), count * spacePerPackage);
    // The staged copies are about to be the only ones: a power cut behind rpm's erasure would find copies
    // without content.
    Common::flushFilesystem(staged);
}

std::filesystem::path FSDatabase::ballast() const {
    return configuration_->tempDirectory() / ".ballast";
}

void FSDatabase::installMigrated(const PackageForMigration &package) {
    try {
        install(package, package.extras);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << "Failed to migrate " << package.id << " package from RPM to KELP";
        LogStream(LogLevel::Error) << error;
        return;
    }
    LogStream(LogLevel::Info) << "Package " << package.id << " successfully migrated from RPM to KELP";
    recordInstallation(package);
}

} // namespace Core::KELP
