#pragma once

#include "kelp/core/kelp/package/i-database-path-resolver.h"

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The paths below the configured database directory. The configuration is asked at each call. The paths are
/// built on each other by virtual operations, so a derived class that overrides one operation also changes
/// all paths built on it.
class DatabasePathResolver : public IDatabasePathResolver {
public:
    /// `configuration` must outlive the resolver.
    explicit DatabasePathResolver(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// The process-wide resolver over the process-wide configuration, made at the first call.
    static DatabasePathResolver &instance();

    std::filesystem::path packageDirectory(const std::string &id) const override;
    std::filesystem::path previousDirectory(const std::string &id) const override;
    std::filesystem::path currentDirectory(const std::string &id) const override;
    std::filesystem::path nextDirectory(const std::string &id) const override;
    std::filesystem::path versionDirectory(const std::string &id, const std::string &version) const override;
    std::filesystem::path symlinkListFile(const std::string &id, PackageSlot slot) const override;
    std::filesystem::path symlinkListFile(const std::string &id, const std::string &version) const override;
    std::filesystem::path generatedDirListFile(const std::string &id, PackageSlot slot) const override;
    std::filesystem::path generatedDirListFile(const std::string &id,
                                               const std::string &version) const override;
    std::filesystem::path descriptorFile(const std::string &id, const std::string &version) const override;
    std::filesystem::path descriptorFile(const std::string &id, PackageSlot slot) const override;
    std::filesystem::path resourcesDirectory(const std::string &id,
                                             const std::string &version) const override;
    std::filesystem::path resourcesDirectory(const std::string &id, PackageSlot slot) const override;
    std::filesystem::path integrityResourceFile(const std::string &id,
                                                const std::string &version) const override;
    std::filesystem::path integrityResourceFile(const std::string &id, PackageSlot slot) const override;
    std::filesystem::path manifestFile(const std::string &id, const std::string &version) const override;
    std::filesystem::path manifestFile(const std::string &id, PackageSlot slot) const override;

private:
    std::filesystem::path slotDirectory(const std::string &id, PackageSlot slot) const;

    const IConfiguration *configuration_;
};

} // namespace Core::KELP
