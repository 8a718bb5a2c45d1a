#include "kelp/core/kelp/validator/catalogue.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/header/header-findings.h"
#include "kelp/core/kelp/validator/program/library-places.h"
#include "kelp/core/kelp/validator/program/program-findings.h"
#include "kelp/core/kelp/validator/qml/qml-findings.h"

#include <algorithm>
#include <tuple>

namespace Validator {

/// kelpctl looks ids up here, to explain and to hide them: findings of a missing catalogue would be unknown
/// to it.
std::vector<CatalogueEntry> allFindings() {
    std::vector<CatalogueEntry> all;
    appendHeaderFindings(all);
    appendContentFindings(all);
    appendDesktopFindings(all);
    appendProgramFindings(all);
    appendQmlFindings(all);
    appendDataFindings(all);
    appendHardeningFindings(all);
    return all;
}

namespace {

using Configuration::PatternSet;

struct List {
    std::string_view topic;
    std::string_view status;
    const PatternSet &(Config::*rows)() const;
};

constexpr List lists[] = {
    {"path", "allowed", &Config::allowedPaths},
    {"permission", "allowed", &Config::allowedPermissions},
    {"library", "allowed", &Config::allowedLibraries},
    {"library", "unstable", &Config::unstableLibraries},
    {"library", "deprecated", &Config::deprecatedLibraries},
    {"requires", "allowed", &Config::allowedRequires},
    {"requires", "unstable", &Config::unstableRequires},
    {"requires", "deprecated", &Config::deprecatedRequires},
    {"import", "allowed", &Config::allowedQmlImports},
    {"import", "unstable", &Config::unstableQmlImports},
    {"import", "deprecated", &Config::deprecatedQmlImports},
    {"import", "reserved", &Config::reservedQmlImports},
    {"mime-type", "forbidden", &Config::forbiddenMimeTypes},
};

/// Where every package may install.
void appendPlaces(Rules &rules, const Config &config) {
    appendRules(rules, "path", "allowed",
                std::vector<std::string>{config.binDir() + "ID", config.libexecDir() + "ID",
                                         config.libexecDir() + "ID/*", config.shareDir() + "ID*",
                                         config.shareDir() + "common/ORGANIZATION/*", config.iconsDir() + "*",
                                         config.applicationsDir() + "ID.desktop",
                                         "/etc/integrityd/config.d/ID.json"});
}

void appendPresence(Rules &rules, const Config &config) {
    rules.push_back({"desktop-file", config.isDesktopFileRequired() ? "required" : "optional",
                     config.applicationsDir() + "ID.desktop"});
    for (const std::int32_t size : config.iconSizes()) {
        const std::string side = std::to_string(size);
        rules.push_back({"icon", config.isIconRequired({}) ? "required" : "optional",
                         config.iconsDir() + side + 'x' + side + "/apps/ID.png"});
    }
}

} // namespace

Rules allRules(const Config &config) {
    Rules rules;
    appendPresence(rules, config);
    appendPlaces(rules, config);
    for (const List &list : lists)
        appendRules(rules, list.topic, list.status, (config.*list.rows)().texts());
    appendHeaderRules(rules, config);
    appendDesktopRules(rules, config);
    appendLibraryRules(rules);
    appendManifestRules(rules);
    appendWatchRules(rules);
    appendHardeningRules(rules);
    appendSearchRules(rules);
    std::ranges::sort(rules, {},
                      [](const Rule &rule) { return std::tie(rule.topic, rule.status, rule.text); });
    return rules;
}

} // namespace Validator
