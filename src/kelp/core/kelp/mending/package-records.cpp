#include "kelp/core/kelp/mending/package-records.h"

#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <ctime>

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

} // namespace Core::KELP
