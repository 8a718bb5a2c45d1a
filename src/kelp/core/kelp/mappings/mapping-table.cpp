#include "kelp/core/kelp/mappings/mapping-table.h"

#include "kelp/core/common/places.h"

#include <algorithm>
#include <string_view>

namespace Core::KELP {

namespace {

struct Rule {
    std::string_view source;
    std::string_view target; ///< After the prefix.
    bool targetNamesPackage; ///< The package id and a "/" follow the target.
    std::int32_t requiresCopy;
    std::int32_t ownsDirectory;
};

constexpr bool perPackage = true;
constexpr bool shared = false;

/// If the source of a row that requires copies exists, the whole package is published by copies.
constexpr Rule rules[] = {
    {"bin", "usr/bin/", shared, 0, 0},
    {"connman/plugin", "usr/lib/connman/plugins-vpn/", shared, 1, 0},
    {"qt5/qml", "usr/lib/qt5/qml/", shared, 0, 0},
    {"3rdparty", "usr/lib/3rdparty/", perPackage, 1, 1},
    {"data", "usr/share/", perPackage, 0, 1},
    {"manifest", "usr/share/applications/", shared, 0, 0},
    {"icons/hicolor/86x86/apps", "usr/share/icons/hicolor/86x86/apps/", shared, 0, 0},
    {"icons/hicolor/108x108/apps", "usr/share/icons/hicolor/108x108/apps/", shared, 0, 0},
    {"icons/hicolor/128x128/apps", "usr/share/icons/hicolor/128x128/apps/", shared, 0, 0},
    {"icons/hicolor/172x172/apps", "usr/share/icons/hicolor/172x172/apps/", shared, 0, 0},
    {"halyard-vpn", "usr/share/halyard-vpn/", shared, 1, 0},
    {"av-launcher", "etc/av-launcher/", shared, 0, 0},
    {"connman/config", "etc/connman/vpn-plugin/", shared, 1, 0},
    {"integrityd", "etc/integrityd/config.d/", shared, 0, 0},
    {"kcapi/qca_velura_pkcs11", "etc/kcapi/qca_velura_pkcs11/", shared, 0, 0},
    {"libexec", "usr/libexec/", perPackage, 0, 1},
    {"p11-kit-modules", "opt/extension/p11-kit-modules/", shared, 0, 0},
    {"qca-plugins", "opt/extension/qca-plugins/", shared, 0, 0},
    {"trusted-sources", "etc/trusted-sources/", shared, 0, 0},
};

constexpr std::string_view libraryDirectory = "/usr/lib/";

std::string prefixOf(Rooted rooted) {
    if (rooted == Rooted::No)
        return "/";
    std::string prefix = Common::rootPath().string();
    if (!prefix.ends_with('/'))
        prefix += '/';
    return prefix;
}

void appendFixedRows(std::vector<Mapping> &mappings, const std::string &prefix, const std::string &id) {
    for (const Rule &rule : rules) {
        std::string target = prefix + std::string(rule.target);
        if (rule.targetNamesPackage)
            target += id + "/";
        mappings.emplace_back(std::string(rule.source), std::move(target), rule.requiresCopy,
                              rule.ownsDirectory);
    }
}

/// Installed rpms know the organisation's directory only by its old name, which has no key in it.
void appendOrganisationRow(std::vector<Mapping> &mappings, const std::string &prefix,
                           const std::string &orgName, const std::string &keyId, Rooted rooted) {
    const std::string directory = "usr/share/common/" + orgName + "/";
    const std::string target = rooted == Rooted::No ? "/" + directory : prefix + directory + keyId + "/";
    mappings.emplace_back("vendor-common", target, 1, 0);
}

void appendLib64Variants(std::vector<Mapping> &mappings) {
    const std::size_t count = mappings.size();
    // Reserved once: the reference to a row below must stay valid.
    mappings.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const Mapping &row = mappings[i];
        if (row.target().starts_with(libraryDirectory))
            mappings.emplace_back(row.source(), "/usr/lib64/" + row.target().substr(libraryDirectory.size()),
                                  row.requiresCopy(), row.ownsDirectory());
    }
}

} // namespace

std::vector<Mapping> buildMappings(const std::string &id, const std::string &keyId,
                                   const std::optional<std::string> &orgName,
                                   const std::optional<std::string> &appName, Rooted rooted) {
    const std::string prefix = prefixOf(rooted);
    const std::string organisation = orgName.value_or("");
    const std::string application = appName.value_or("");

    std::vector<Mapping> mappings;
    appendFixedRows(mappings, prefix, id);
    if (!organisation.empty() && !keyId.empty())
        appendOrganisationRow(mappings, prefix, organisation, keyId, rooted);
    if (!organisation.empty() && !application.empty())
        mappings.emplace_back("common", prefix + "usr/share/common/" + organisation + "/" + application + "/",
                              0, 1);
    // 64-bit images have rpms with either directory; the store publishes in one.
    if (rooted == Rooted::No)
        appendLib64Variants(mappings);
    return mappings;
}

std::filesystem::path packagePathOf(const std::string &systemPath, const std::vector<Mapping> &mappings) {
    const std::string directoryForm = systemPath.ends_with('/') ? systemPath : systemPath + "/";
    for (const Mapping &mapping : mappings) {
        const std::string &target = mapping.target();
        if (target == directoryForm)
            return mapping.source();
        if (!systemPath.starts_with(target))
            continue;
        // An absolute remainder, as in "/usr/bin//x", would replace the source instead of following it.
        const std::size_t remainder = systemPath.find_first_not_of('/', target.size());
        return mapping.source() + "/" + systemPath.substr(std::min(remainder, systemPath.size()));
    }
    return std::filesystem::path(systemPath).relative_path();
}

} // namespace Core::KELP
