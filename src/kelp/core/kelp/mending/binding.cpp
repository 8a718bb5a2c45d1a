#include "kelp/core/kelp/mending/binding.h"

#include "kelp/core/trusted-sources/sqlite-database.h"

#include "platform/package-signatures/database.h"

#include <filesystem>

namespace Core::KELP {

std::optional<TrustedSources::Source> certifiedSource(const std::string &id) {
    const std::filesystem::path path = PackageSignatures::Database::defaultPath();
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored))
        return std::nullopt;
    const PackageSignatures::Database signatures(path.native());
    const auto certificate = signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Client);
    if (!certificate)
        return std::nullopt;
    return TrustedSources::Source{certificate->keyId(), certificate->subject(), {}};
}

void bindToItsSource(const IConfiguration &configuration, const std::string &id) {
    const auto source = certifiedSource(id);
    // The reserved source brings no right with it: whether packages without a source may come in is
    // somebody's decision.
    TrustedSources::SQLiteDatabase(configuration)
        .bindPackage(id, source.value_or(TrustedSources::Source{reservedSource, "", {}}));
}

} // namespace Core::KELP
