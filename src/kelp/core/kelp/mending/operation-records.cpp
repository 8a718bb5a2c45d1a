#include "kelp/core/kelp/mending/operation-records.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mending/stray-mappings.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/store/fs-database.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <ctime>

namespace fs = std::filesystem;

namespace Core::KELP {

std::optional<TrustedSources::Source> certifiedSource(const std::string &id) {
    const auto certificate = Certificates().of(id, PackageSignatures::Group::Client);
    if (!certificate) {
        // With an unknown certificate a binding to no source would be wrong.
        requireCertificates();
        return std::nullopt;
    }
    return TrustedSources::Source{certificate->keyId(), certificate->subject(), {}};
}

std::optional<std::string> developerKey(const std::string &id) {
    const auto certificate = Certificates().of(id, PackageSignatures::Group::Developer);
    return certificate ? std::optional(certificate->keyId()) : std::nullopt;
}

void bindToItsSource(const IConfiguration &configuration, const std::string &id) {
    const auto source = certifiedSource(id);
    // The launcher's package brings the directory, but a machine may have only kelpctl.
    Common::createPrivateDirectory(configuration.trustedSourcesDatabasePath().parent_path());
    TrustedSources::SQLiteDatabase(configuration)
        .bindPackage(id, source.value_or(TrustedSources::Source::reserved()));
}

RegistryRecord recordOf(RegistryEvent event, const PackageInformation &information) {
    return {event, std::time(nullptr), information.at("general.id"), information.at("certificate.id"),
            previousKeyIds(information)};
}

std::optional<RegistryRecord> lastRecord(const std::string &id) {
    std::optional<RegistryRecord> last;
    for (RegistryRecord &record : registryRecords())
        if (record.packageId() == id)
            last = std::move(record);
    return last;
}

namespace {

/// By the registry, which outlives the descriptor. An unregistered package has no history to end.
void recordRemoval(const std::string &id) {
    const auto last = lastRecord(id);
    if (!last || last->event() == RegistryEvent::Remove)
        return;
    const RegistryRecord record(RegistryEvent::Remove, std::time(nullptr), id, last->keyId(),
                                last->previousKeyIds());
    if (!Registry().writeRecord(record))
        throw Common::Error(Common::ErrorCode::Filesystem,
                            "Couldn't add a package removal record to the registry: " + id);
}

/// A kill in the middle leaves a part of the package, and the note by which the removal is repeated. Returns
/// the foreign entries of the directory.
std::vector<fs::path> removeFromStore(const IConfiguration &configuration, const std::string &id) {
    const DatabasePathResolver resolver(configuration);
    FSDatabase store(configuration, resolver);
    const fs::path directory = resolver.packageDirectory(id);
    const StoreEntry::Kind kind = StoreEntry(resolver, id).kind();
    if (kind == StoreEntry::Kind::Absent)
        return {};
    if (kind != StoreEntry::Kind::Directory)
        return {directory};
    store.tryRemoveMappingsUsingCurrentDirectory(id);
    std::vector<fs::path> left = store.dropPackage(id);
    // Without this flush a power cut could undo the removal after its note is gone. The package would then
    // look as if somebody had copied it here by hand.
    Common::flushFile(configuration.databaseDirectory());
    return left;
}

/// Goes on without the database of sources if that cannot be read. Once it can be read again, `kelpctl
/// doctor` finds the binding of a package that the registry calls removed. Opens the database for writing
/// only if it has a binding to remove. Opening makes a missing database, and where that fails, this removal
/// and all later ones would be held up.
void removeBinding(const IConfiguration &configuration, const std::string &id) {
    Unread unread;
    const auto sources = unread.attempt([&] { return SourcesView::read(configuration); });
    if (sources && sources->sourceOf.contains(id))
        TrustedSources::SQLiteDatabase(configuration).removePackage(id);
}

} // namespace

bool recordInstallation(const IConfiguration &configuration, RegistryEvent event,
                        const PackageInformation &information) {
    const std::string &id = information.at("general.id");
    const bool isRecorded = Registry().writeRecord(recordOf(event, information));
    if (!isRecorded)
        Common::LogStream(Common::LogLevel::Warning)
            << "Couldn't add a package installation record to the registry: " << id;
    bindToItsSource(configuration, id);
    return isRecorded;
}

void completeInstallation(const IConfiguration &configuration) {
    const auto begun = unfinishedInstallation();
    if (!begun)
        return;
    const auto package = StoreView(configuration).package(begun->id);
    if (package && !package->failure.empty())
        throw Common::Error(Common::ErrorCode::Filesystem, package->failure);
    if (package && package->information && package->version == begun->version &&
        !recordInstallation(configuration, begun->event, *package->information))
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't write the registry");
    Common::removeAll(installationFile());
}

std::vector<fs::path> completeRemoval(const IConfiguration &configuration) {
    const std::optional<std::string> id = unfinishedRemoval();
    if (!id)
        return {};
    // In this order: while the registry has it as installed, a binding without a package is the trace of a
    // lost one.
    std::vector<fs::path> left = removeFromStore(configuration, *id);
    takeBackStrays(configuration, *id);
    recordRemoval(*id);
    removeBinding(configuration, *id);
    if (const auto begun = unfinishedInstallation(); begun && begun->id == *id)
        Common::removeAll(installationFile());
    // Last: repeating the earlier steps does no harm. Flushed: if a power cut brought the note back, a
    // package that was installed since would be removed.
    Common::removeAll(removalFile());
    Common::flushFile(removalFile().parent_path());
    return left;
}

void resumeRemoval(const IConfiguration &configuration) {
    const std::optional<std::string> id = unfinishedRemoval();
    completeRemoval(configuration);
    try {
        if (id)
            requireNothingPublished(configuration, *id);
    } catch (const Common::Error &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
    }
}

void requireNothingPublished(const IConfiguration &configuration, const std::string &id) {
    const DatabasePathResolver resolver(configuration);
    if (!StoreEntry(resolver, id).slot(PackageSlot::Current).isForeign())
        return;
    std::string stays;
    for (const fs::path &place : placesOfMappings(configuration, id))
        stays += (stays.empty() ? "" : ", ") + place.string();
    if (!stays.empty())
        throw Common::Error(Common::ErrorCode::Internal,
                            "It is removed, but " + resolver.currentDirectory(id).string() +
                                " is somebody else's, and what leads there stays published: " + stays);
}

} // namespace Core::KELP
