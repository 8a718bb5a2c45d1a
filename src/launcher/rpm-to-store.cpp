#include "launcher/migrations.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/fs-database.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/integrity-resource.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "kelp/core/kelp/skid/patterns.h"
#include "kelp/core/kelp/take-over/empty-database.h"
#include "kelp/core/trusted-sources/source.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include "platform/package-signatures/database.h"

#include <exception>
#include <optional>

namespace Launcher {

namespace {

using Common::LogLevel;
using Common::LogStream;
using Core::TrustedSources::IDatabase;
using Core::TrustedSources::reservedSource;

void logBinding(const std::string &id, const std::string &keyId) {
    LogStream(LogLevel::Info) << "Successfully bound " << id << " package to source "
                              << "(keyid=" << keyId << ")";
}

void bind(const std::string &id, const PackageSignatures::Certificate &certificate, IDatabase &sources) {
    const std::string &keyId = certificate.keyId();
    if (!sources.sourceExists(keyId)) {
        sources.addSource({keyId, certificate.subject(), {}});
        LogStream(LogLevel::Info) << "Successfully added trusted source "
                                  << "(keyid=" << keyId << ")";
    }
    if (sources.packageExists(id))
        return;
    sources.addPackage(id, keyId);
    logBinding(id, keyId);
}

void bindClientCertificates(IDatabase &sources) {
    const PackageSignatures::Database signatures(PackageSignatures::Database::defaultPath());
    for (const std::string &id : signatures.packages()) {
        const auto certificate = signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Client);
        if (!certificate)
            continue;
        try {
            bind(id, *certificate, sources);
        } catch (const Common::Error &error) {
            // Not tried at the next start, for which one lost binding is no reason: kelpctl doctor finds it.
            // What the signature database raises ends the migration.
            LogStream(LogLevel::Error) << "Failed to add client certificate for package " << id << error;
        }
    }
}

void bindToReservedSource(const std::string &id, IDatabase &sources) {
    if (sources.packageExists(id))
        return;
    if (!sources.sourceExists(reservedSource)) {
        // In this order: the source says to the next run that both were done.
        sources.setMissingSourceAllowed(true);
        sources.addSource({reservedSource, "", {}});
    }
    // For good, as far as the launcher goes: it binds no package twice.
    sources.addPackage(id, reservedSource);
    logBinding(id, reservedSource);
}

void bindRemainingPackages(Core::KELP::FSDatabase &store, IDatabase &sources) {
    for (const Core::KELP::PackageInformation &package : store.packages()) {
        const auto id = package.find("general.id");
        if (id == package.end()) {
            LogStream(LogLevel::Warning) << "Couldn't retrieve ID of installed package";
            continue;
        }
        try {
            bindToReservedSource(id->second, sources);
        } catch (const Common::Error &error) {
            LogStream(LogLevel::Error) << "Couldn't bind " << id->second << " package to source "
                                       << "(keyid=" << reservedSource << ")";
            LogStream(LogLevel::Error) << error;
        }
    }
}

bool isDone(const Core::KELP::MigrationStamp &stamp) {
    return Common::exists(Common::rootPath() / stamp.path);
}

/// What rpm says of shared files, asked before the take-over, which has the process's one transaction.
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

    /// Raises what kept rpm from telling: who arrives now waits for the next start, and nobody else does.
    const std::vector<std::filesystem::path> &inRpm() const {
        if (failure_)
            std::rethrow_exception(failure_);
        return inRpm_;
    }

private:
    std::vector<std::filesystem::path> inRpm_;
    std::exception_ptr failure_;
};

/// Nobody looks at a migration again once its stamp is there.
void catchUp(const Core::KELP::PackageInformation &package, Core::KELP::FSDatabase &store,
             const std::optional<SharedFiles> &shared) {
    if (shared)
        Core::KELP::SKID::Patterns::migrateLate(package, store.packages(), shared->inRpm());
    if (isDone(Core::KELP::integrityConfigurationStamp))
        Core::KELP::migrateIntegrityFile(package);
}

} // namespace

void migrateRpmToStore(Core::Configuration &configuration) {
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    Core::TrustedSources::SQLiteDatabase sources(configuration);
    std::optional<SharedFiles> shared;
    if (isDone(Core::KELP::organisationsToSkidStamp))
        shared.emplace(configuration);
    store.onArrival([&](const Core::KELP::PackageInformation &package) { catchUp(package, store, shared); });
    store.migrateRpmPackages();
    bindClientCertificates(sources);
    bindRemainingPackages(store, sources);
    // What kept one application from arriving keeps the stamp away, and nobody else from being bound.
    store.requireCompleteMigration();
}

} // namespace Launcher
