#include "kelp/core/kelp/validator/configuration/config-base.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/validator/configuration/profile-rows.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <iostream>
#include <string_view>

namespace Configuration {

namespace {

/// With any fault in the file errors still fail packages: breaking it must not let them in.
constexpr std::string_view fallback = "Using default value for validation enabled: true\n";

bool readValidationEnabled() {
    try {
        const std::filesystem::path file = Common::belowRoot("var/lib/developer-moded/developer-moded.conf");
        if (Common::isPipe(file))
            throw boost::property_tree::ini_parser_error("cannot open file", file.string(), 0);
        boost::property_tree::ptree tree;
        boost::property_tree::read_ini(file.string(), tree);
        // A text that is no truth value raises, like a missing or malformed file.
        if (const auto value = tree.get_child_optional("developermode.validationEnabled"))
            return value->get_value<bool>();
        // On the report's stream, so that its readers see the mode of the verdict.
        std::cerr << "Config parameter 'developermode.validationEnabled' in developer-moded.conf not found. "
                  << fallback;
    } catch (const std::exception &error) {
        std::cerr << "Error reading developer-moded.conf: " << error.what() << ". " << fallback;
    }
    return true;
}

} // namespace

DeveloperMode DeveloperMode::ofMachine() {
    return {readValidationEnabled()};
}

ConfigBase::ConfigBase(const DeveloperMode &mode) :
    validationEnabled(mode.validationEnabled),
    iconSizes{86, 108, 128, 172},
    binDir("/usr/bin/"),
    shareDir("/usr/share/"),
    applicationsDir("/usr/share/applications/"),
    iconsDir("/usr/share/icons/hicolor/"),
    libexecDir("/usr/libexec/") {
    // The rows of every profile: derived ones only add rows.
    addExpressions(reservedQmlImports, BaseRows::reservedQmlImportsExpressions);
    addStrings(forbiddenMimeTypes, BaseRows::forbiddenMimeTypes);
    addStrings(allowedPaths, BaseRows::allowedPaths);
}

} // namespace Configuration
