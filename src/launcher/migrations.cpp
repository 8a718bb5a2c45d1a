#include "launcher/migrations.h"

#include "platform/package-signatures/database.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/integrity-resource.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "kelp/core/kelp/skid/patterns.h"
#include "kelp/core/kelp/store/fs-database.h"
#include "kelp/core/kelp/take-over/lost-database.h"
#include "kelp/core/trusted-sources/i-database.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <exception>
#include <optional>
#include <set>

namespace Launcher {

namespace {

using Common::LogLevel;
using Common::LogStream;
using Core::KELP::PackageInformation;
using Core::TrustedSources::reservedSource;
using Core::TrustedSources::Source;

void logClientFailure(const std::string &id, const std::exception &error) {
    LogStream(LogLevel::Error) << "Failed to add client certificate for package " << id << error;
}

void logReservedFailure(const std::string &id, const std::exception &error) {
    LogStream(LogLevel::Error) << "Couldn't bind " << id << " package to source "
                               << "(keyid=" << reservedSource << ")";
    LogStream(LogLevel::Error) << error;
}

/// The bindings of one start. All are committed in one transaction, and logged after that.
class Bindings {
public:
    Bindings(Core::KELP::FSDatabase &store, Core::TrustedSources::SQLiteDatabase &sources) :
        store_(store), sources_(sources) {}

    void run() {
        // Before the transaction: a failure here is none of the sources', and must keep the stamp away.
        const std::vector<PackageInformation> packages = store_.packages();
        try {
            sources_.together([&] {
                bindClientCertificates();
                bindRemainingPackages(packages);
            });
        } catch (const Common::Error &error) {
            for (const Bound &bound : bound_)
                if (!bound.id.empty())
                    bound.logFailure(bound.id, error);
            return;
        }
        for (const Bound &bound : bound_)
            logBinding(bound);
    }

private:
    struct Bound {
        std::string id; ///< Empty for a source that is new.
        std::string keyId;
        bool isNewSource;
        void (*logFailure)(const std::string &id, const std::exception &error);
    };

    static void logBinding(const Bound &bound) {
        if (bound.isNewSource)
            LogStream(LogLevel::Info) << "Successfully added trusted source "
                                      << "(keyid=" << bound.keyId << ")";
        if (!bound.id.empty())
            LogStream(LogLevel::Info) << "Successfully bound " << bound.id << " package to source "
                                      << "(keyid=" << bound.keyId << ")";
    }

    void bind(const std::string &id, const PackageSignatures::Certificate &certificate) {
        const std::string &keyId = certificate.keyId();
        if (sources_.addMissingSource({keyId, certificate.subject(), {}}))
            bound_.push_back({"", keyId, true, logClientFailure});
        if (sources_.packageExists(id))
            return;
        sources_.addPackage(id, keyId);
        bound_.push_back({id, keyId, false, logClientFailure});
    }

    void bindClientCertificates() {
        const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
        for (const std::string &id : signatures.packages()) {
            const auto certificate =
                signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Client);
            if (!certificate)
                continue;
            try {
                bind(id, *certificate);
            } catch (const Common::Error &error) {
                // Not retried at the next start: one lost binding is no reason for that, and kelpctl doctor
                // finds it. An error of the signature database ends the migration.
                logClientFailure(id, error);
                failed_.insert(id);
            }
        }
    }

    void bindToReservedSource(const std::string &id) {
        // A package that a store has sold must not be bound to the reserved source for good.
        if (sources_.packageExists(id) || failed_.contains(id))
            return;
        sources_.addMissingSource(Source::reserved());
        // For good: the launcher binds no package twice.
        sources_.addPackage(id, reservedSource);
        bound_.push_back({id, reservedSource, false, logReservedFailure});
    }

    void bindRemainingPackages(const std::vector<PackageInformation> &packages) {
        for (const PackageInformation &package : packages) {
            const auto id = package.find("general.id");
            if (id == package.end()) {
                LogStream(LogLevel::Warning) << "Couldn't retrieve ID of installed package";
                continue;
            }
            try {
                bindToReservedSource(id->second);
            } catch (const Common::Error &error) {
                logReservedFailure(id->second, error);
            }
        }
    }

    Core::KELP::FSDatabase &store_;
    Core::TrustedSources::SQLiteDatabase &sources_;
    std::vector<Bound> bound_;
    std::set<std::string> failed_; ///< Packages that could not be bound to their client certificate's source.
};

bool hasStamp(const Core::KELP::MigrationStamp &stamp) {
    // A late arrival would never get its work if a failed look passed for "no".
    return Common::lookThrough(Common::rootPath() / stamp.path);
}

/// rpm's shared files, read before the take-over, which uses the process's one transaction.
class SharedFiles {
public:
    explicit SharedFiles(const Core::Configuration &configuration) {
        try {
            inRpm_ = Core::KELP::SKID::Patterns::sharedFilesInRpm(
                [&] { Core::KELP::requireEmptyDatabaseOf(configuration, Core::KELP::removedByRegistry()); });
        } catch (const std::exception &) {
            failure_ = std::current_exception();
        }
    }

    /// Raises the failure of the read. Only packages that arrive now wait for the next start then.
    const std::vector<std::filesystem::path> &inRpm() const {
        if (failure_)
            std::rethrow_exception(failure_);
        return inRpm_;
    }

private:
    std::vector<std::filesystem::path> inRpm_;
    std::exception_ptr failure_;
};

/// A migration does not run again once its stamp exists. Packages that arrive later get its work done here.
class LateArrivals {
public:
    LateArrivals(const Core::Configuration &configuration, Core::KELP::FSDatabase &store) : store_(store) {
        try {
            if (hasStamp(Core::KELP::organisationsToSkidStamp))
                shared_.emplace(configuration);
        } catch (const std::exception &) {
            failure_ = std::current_exception();
        }
    }

    Core::KELP::TakeOver::ArrivalFailures operator()(const std::vector<PackageInformation> &arrived) const {
        Core::KELP::TakeOver::ArrivalFailures failures;
        for (const PackageInformation &package : arrived) {
            try {
                catchUp(package);
            } catch (const std::exception &) {
                failures.emplace(package.at("general.id"), std::current_exception());
            }
        }
        return failures;
    }

private:
    void catchUp(const PackageInformation &package) const {
        if (failure_)
            std::rethrow_exception(failure_);
        if (shared_) {
            const auto installed = store_.packages();
            store_.requireCompleteLook();
            Core::KELP::SKID::Patterns::migrateLate(package, installed, shared_->inRpm());
        }
        if (hasStamp(Core::KELP::integrityConfigurationStamp))
            Core::KELP::migrateIntegrityFile(package);
    }

    Core::KELP::FSDatabase &store_;
    std::optional<SharedFiles> shared_;
    std::exception_ptr failure_; ///< Of the look for a stamp: the packages arrive, and wait for their work.
};

} // namespace

void migrateRpmToStore(Core::Configuration &configuration) {
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    Core::TrustedSources::SQLiteDatabase sources(configuration);
    store.onArrival(LateArrivals(configuration, store));
    store.migrateRpmPackages();
    Bindings(store, sources).run();
    store.requireCompleteLook();
    // If a failure kept an application from arriving, there is no stamp; but all others are bound by now.
    store.requireCompleteMigration();
}

void migrateOrganisationsToSkid(Core::Configuration &configuration) {
    using Core::KELP::SKID::Patterns;
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    // All is listed before anything moves: an earlier failure has moved nothing.
    const auto inRpm = Patterns::sharedFilesInRpm(
        [&] { Core::KELP::requireEmptyDatabaseOf(configuration, Core::KELP::removedByRegistry()); });
    const auto packages = store.packages();
    // A package that could not be read may have files, or a key's directory, where another's data moves.
    store.requireCompleteLook();
    const Common::HomesLook look = Common::lookForUsersHomes();
    for (const auto &units : Patterns::migrationUnits(packages, inRpm, look.homes))
        Patterns::migrate(units);
    // Flushed before the stamp says that they are done.
    Patterns::flushMoves();
    // With the stamp the data in that home, or at that place, would never move.
    for (const std::exception_ptr &failure : {look.failure, look.unmounted})
        if (failure)
            std::rethrow_exception(failure);
    Patterns::requirePlaces();
}

void migrateIntegrityConfiguration(Core::Configuration &configuration) {
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    // The first failure ends the walk and keeps the stamp away. The next start begins again with the first
    // package: the old files stay, so a second write does no harm.
    for (const Core::KELP::PackageInformation &package : store.packages())
        Core::KELP::migrateIntegrityFile(package);
    store.requireCompleteLook();
}

} // namespace Launcher
