#include "kelp/core/kelp/inspection/certificates.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"

#include <filesystem>

namespace Core::KELP {

void requireCertificates() {
    const std::string path = PackageSignatures::Database::defaultPath();
    if (!Common::lookFor(path))
        throw Common::Error(Common::ErrorCode::Filesystem,
                            "Couldn't read the signature database " + path + ": there is none");
}

std::optional<PackageSignatures::Certificate> Certificates::of(const std::string &id,
                                                               PackageSignatures::Group group) {
    const std::filesystem::path path = PackageSignatures::Database::defaultPath();
    Common::requireReadable(path);
    try {
        if (!database_) {
            if (!std::filesystem::exists(path))
                return std::nullopt;
            database_.emplace(path.native());
        }
        return database_->packageCertificateWithGroup(id, group);
    } catch (const std::exception &error) {
        throw Common::Error(Common::ErrorCode::Internal,
                            "Couldn't read the signature database " + path.string() + ": " + error.what());
    }
}

} // namespace Core::KELP
