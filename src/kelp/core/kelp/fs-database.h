#pragma once

#include "kelp/core/kelp/i-database.h"
#include "kelp/core/kelp/package-staging.h"

#include <filesystem>
#include <optional>

namespace Common::Rpm {
class Reader;
class Transaction;
} // namespace Common::Rpm
namespace PackageSignatures {
class Database;
}

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

class IDatabasePathResolver;
struct Publication;

/// The package store over a directory tree. There is no index: the tree is the database. It is used from one
/// thread of one process at a time; nothing keeps others away.
class FSDatabase : public IDatabase {
public:
    /// A staged version with the values that its descriptor gets beside the staging's own.
    struct PackageForMigration : PackageStaging {
        PackageInformation extras;
    };

    /// Makes the database directory when there is none; that this failed is logged, and shows at the first
    /// use. Both arguments must outlive the object.
    FSDatabase(const IConfiguration &configuration, const IDatabasePathResolver &pathResolver);

    void install(const PackageStaging &staging, const PackageInformation &extras) override;
    void prepareUpdate(const PackageStaging &staging, const PackageInformation &extras) override;
    void completeUpdate(const std::string &id) override;
    void remove(const std::string &id) override;
    PackageInformation packageInfo(const std::string &id) override;
    std::vector<PackageInformation> packages() override;
    bool isInstalled(const std::string &id) override;
    bool isVersionInstalled(const std::string &id, const std::string &version) override;
    bool isNewerThanInstalled(const std::string &id, const std::string &version) override;
    bool hasPendingUpdate(const std::string &id) override;
    void migrateRpmPackages() override;
    void cleanupVersionsExceptCurrent(const std::string &id) override;
    void tryRemoveMappingsUsingCurrentDirectory(const std::string &id) override;

private:
    enum class Recheck { No, Yes };

    void putInPlace(const PackageStaging &staging, const PackageInformation &extras);
    void swapToNext(const std::string &id);
    void backUpCurrent(const std::string &id);
    void promoteNext(const std::string &id);
    void recoverPrevious(const std::string &id);
    void removeUnrecoverable(const std::string &id);
    void rollBackToPrevious(const std::string &id);
    void cleanupFailedInstallation(const std::string &id);
    void cleanupCorrupted(const std::string &id);
    std::optional<PackageInformation> nextInformation(const std::string &id);
    std::optional<PackageInformation> currentInformation(const std::string &id);
    bool isNewerThanInstalled(const std::string &id, const std::string &version, Recheck recheck);
    void generateMappings(const std::string &id);
    void recordPublication(const std::string &id, const Publication &made);

    // The migration of rpm packages.
    void clearTempDirectory();
    std::vector<PackageForMigration> prepareRpmPackagesForMigration(Common::Rpm::Transaction &transaction);
    std::optional<PackageForMigration> prepareRpmPackage(const Common::Rpm::Reader &reader,
                                                         const PackageSignatures::Database &signatures,
                                                         Common::Rpm::Transaction &transaction);
    void secureStagedPackages(std::size_t count);
    std::filesystem::path ballast() const;
    void installMigrated(const PackageForMigration &package);

    const IConfiguration *configuration_;
    const IDatabasePathResolver *pathResolver_;
};

} // namespace Core::KELP
