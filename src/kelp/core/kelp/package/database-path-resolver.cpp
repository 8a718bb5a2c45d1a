#include "kelp/core/kelp/package/database-path-resolver.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/store-names.h"

#include <memory>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// Other programs look for files of this name.
constexpr const char *integrityResource = "integrityd.json";

} // namespace

DatabasePathResolver &DatabasePathResolver::instance() {
    static std::unique_ptr<DatabasePathResolver> resolver;
    if (!resolver)
        resolver = std::make_unique<DatabasePathResolver>(Configuration::instance());
    return *resolver;
}

fs::path DatabasePathResolver::packageDirectory(const std::string &id) const {
    return configuration_->databaseDirectory() / id;
}

fs::path DatabasePathResolver::previousDirectory(const std::string &id) const {
    return packageDirectory(id) / StoreName::previous;
}

fs::path DatabasePathResolver::currentDirectory(const std::string &id) const {
    return packageDirectory(id) / StoreName::current;
}

fs::path DatabasePathResolver::nextDirectory(const std::string &id) const {
    return packageDirectory(id) / StoreName::next;
}

fs::path DatabasePathResolver::versionDirectory(const std::string &id, const std::string &version) const {
    // Both are single components: packages are let in only with such names (Common::isFileName()).
    return packageDirectory(id) / version;
}

fs::path DatabasePathResolver::symlinkListFile(const std::string &id, PackageSlot slot) const {
    return slotDirectory(id, slot) / StoreName::symlinkList;
}

fs::path DatabasePathResolver::symlinkListFile(const std::string &id, const std::string &version) const {
    return versionDirectory(id, version) / StoreName::symlinkList;
}

fs::path DatabasePathResolver::generatedDirListFile(const std::string &id, PackageSlot slot) const {
    return slotDirectory(id, slot) / StoreName::generatedDirList;
}

fs::path DatabasePathResolver::generatedDirListFile(const std::string &id, const std::string &version) const {
    return versionDirectory(id, version) / StoreName::generatedDirList;
}

fs::path DatabasePathResolver::descriptorFile(const std::string &id, const std::string &version) const {
    return versionDirectory(id, version) / StoreName::descriptor;
}

fs::path DatabasePathResolver::descriptorFile(const std::string &id, PackageSlot slot) const {
    return slotDirectory(id, slot) / StoreName::descriptor;
}

fs::path DatabasePathResolver::resourcesDirectory(const std::string &id, const std::string &version) const {
    return versionDirectory(id, version) / StoreName::resources;
}

fs::path DatabasePathResolver::resourcesDirectory(const std::string &id, PackageSlot slot) const {
    return slotDirectory(id, slot) / StoreName::resources;
}

fs::path DatabasePathResolver::integrityResourceFile(const std::string &id,
                                                     const std::string &version) const {
    return resourcesDirectory(id, version) / integrityResource;
}

fs::path DatabasePathResolver::integrityResourceFile(const std::string &id, PackageSlot slot) const {
    return resourcesDirectory(id, slot) / integrityResource;
}

fs::path DatabasePathResolver::manifestFile(const std::string &id, const std::string &version) const {
    return versionDirectory(id, version) / StoreName::manifest;
}

fs::path DatabasePathResolver::manifestFile(const std::string &id, PackageSlot slot) const {
    return slotDirectory(id, slot) / StoreName::manifest;
}

fs::path DatabasePathResolver::slotDirectory(const std::string &id, PackageSlot slot) const {
    if (slot == PackageSlot::Next)
        return nextDirectory(id);
    return slot == PackageSlot::Previous ? previousDirectory(id) : currentDirectory(id);
}

} // namespace Core::KELP
