#pragma once

#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/take-over/take-over-store.h"
#include "kelp/core/kelp/take-over/take-over.h"

#include <exception>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace Common {
class Error;
}

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

struct PublicationPlan;

/// The package store over a directory tree. There is no index: the tree is the database. It is used from one
/// thread of one process at a time; the caller keeps others away (Common::WriterLock).
class FSDatabase : public TakeOverStore {
public:
    using PackageForMigration = KELP::PackageForMigration;

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

    void describeStaged(const PackageStaging &staging, const PackageInformation &extras) override;
    void place(const PackageStaging &staging) override;
    void record(const std::string &id, const std::vector<std::string> &files,
                const std::vector<std::string> &directories) override;
    bool isRecorded(const std::string &id, const std::vector<std::string> &files,
                    const std::vector<std::string> &directories) override;

    /// migrateRpmPackages() will call `arrival` at the end of each group, with the packages that it has
    /// brought to the store, before its journal forgets them. If `arrival` returns the failure of a package,
    /// the next migration calls it again for that one.
    void onArrival(TakeOver::Arrival arrival) { arrival_ = std::move(arrival); }

    /// Raises the first failure that kept an application from arriving at the last migrateRpmPackages(),
    /// which itself goes on with the others.
    void requireCompleteMigration() const;

    /// Raises the first failure for which the last packages() lacks a package that may be whole. Work that
    /// needs all packages must then be retried later.
    void requireCompleteLook() const;

    /// Removes the package's own entries from its directory: its versions, the current one last, and its
    /// three links, wherever they lead. Published files stay. Foreign entries stay too, and are returned; if
    /// there are none, the directory is removed. Raises ErrorCode::FileConflict, and changes nothing, if a
    /// link or a file stands in place of the package's directory. Raises ErrorCode::Filesystem when a look or
    /// a removal fails. After a failure or a kill it can be repeated.
    std::vector<std::filesystem::path> dropPackage(const std::string &id) const;

    /// The plan, by DanglingLinks::Count, to publish a tree for which describeStaged() was called; install()
    /// plans by DanglingLinks::Fail. Changes nothing. Raises as readDescriptor() and planPublication() do.
    static PublicationPlan publicationOf(const PackageStaging &staging,
                                         const IDatabasePathResolver &pathResolver);

private:
    enum class Recheck { No, Yes };

    static Common::Error unreadableDescriptor(const std::string &id);
    void putInPlace(const PackageStaging &staging, const PackageInformation &extras);
    void swapToNext(const std::string &id);
    void backUpCurrent(const std::string &id);
    void promoteNext(const std::string &id);
    void recoverPrevious(const std::string &id);
    bool hasEarlierVersion(const std::string &id);
    bool isCurrentWhole(const std::string &id) const;
    void keepUnpublished(const std::string &id);
    void removeUnrecoverable(const std::string &id);
    void rollBackToPrevious(const std::string &id);
    void cleanupFailedInstallation(const std::string &id);
    void cleanupCorrupted(const std::string &id);
    std::optional<PackageInformation> nextInformation(const std::string &id);
    std::optional<PackageInformation> currentInformation(const std::string &id);
    bool isNewerThanInstalled(const std::string &id, const std::string &version, Recheck recheck);
    StoreEntry entry(const std::string &id) const;
    std::set<std::string> idsOnTheirWay() const;
    void requireOwnUpdate(const std::string &id) const;
    void describe(const PackageStaging &staging, const PackageInformation &extras,
                  Common::Durability durability) const;
    void dropOwnNames(const std::filesystem::path &tree, const PackageStaging &staging) const;
    void dropLeftover(const std::filesystem::path &directory, const std::string &id) const;
    bool isInSlot(const PackageStaging &staging, PackageSlot slot) const;
    void dropVersion(const std::string &id, const std::string &version) const;
    void dropPrevious(const std::string &id) const;
    void dropByPrevious(const std::string &id, const std::function<void()> &makePrevious) const;
    std::exception_ptr dropOthers(const std::string &id, const std::string &kept) const;
    void dropCurrent(const std::string &id) const;

    void generateMappings(const std::string &id);
    void writePlan(const std::string &id, const PublicationPlan &plan);
    void recordPublication(const std::string &id, const PublicationPlan &plan);
    bool recordDirectories(const std::string &id, const PublicationPlan &plan);
    void endPlan(const std::string &id, const PublicationPlan &plan);
    PublicationPlan takeBackUnfinished(const std::string &id, PublicationPlan &left);
    void finishTakingBack(const std::string &id) const;
    PublicationPlan unfinishedPlan(const std::string &id) const;
    PublicationPlan planOfTree(const std::string &id) const;
    void noteCopiedLinks(const std::string &id, PublicationPlan &left);
    void takeBackUnlisted(const std::string &id, PublicationPlan &left);
    std::filesystem::path planFile(const std::string &id) const;

    const IConfiguration *configuration_;
    const IDatabasePathResolver *pathResolver_;
    TakeOver::Arrival arrival_;
    std::exception_ptr migrationFailure_;
    std::exception_ptr lookFailure_;
};

} // namespace Core::KELP
