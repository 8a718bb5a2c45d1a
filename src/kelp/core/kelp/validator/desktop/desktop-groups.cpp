#include "kelp/core/kelp/validator/desktop/desktop-groups.h"

#include "platform/app-manifest/manifest-entry.h"

#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <algorithm>
#include <locale>
#include <set>
#include <sstream>

namespace Validator {

namespace {

using AppManifest::ManifestEntry;

const std::string optionsGroup = "X-Velura-Application";
const std::string splashGroup = "X-Velura-SplashScreen";

/// With the older names of the sandbox section, which its own checker judges further.
constexpr const char *fixedGroups[] = {
    "Desktop Entry",        "X-Application",         "X-Fencebox",  "Fencebox",
    "X-Velura-Application", "X-Velura-SplashScreen", "Attestation", "X-Velura-Capabilities",
};

constexpr std::string_view orientations[] = {
    "None",     "All",       "PortraitMask",     "LandscapeMask",
    "Portrait", "Landscape", "PortraitInverted", "LandscapeInverted",
};
constexpr std::string_view iconModes[] = {"Scale", "Crop"};

constexpr ValueRow options[] = {
    {"Orientation", orientations},
    {"SmallScreenOrientation", orientations},
    {"MediumScreenOrientation", orientations},
    {"LargeScreenOrientation", orientations},
    {"ExtraLargeScreenOrientation", orientations},
    {"IconMode", iconModes},
};

constexpr std::string_view splashColours[] = {"GradientStartColor", "GradientEndColor"};

/// Three digits or six after a "#", as an integer is read: a sign or "0x" among them is accepted.
bool isColour(const std::string &text) {
    if ((text.size() != 4 && text.size() != 7) || text.front() != '#')
        return false;
    // In the classic locale: the process's own could allow grouped digits.
    std::istringstream digits(text.substr(1));
    digits.imbue(std::locale::classic());
    int value = 0;
    digits >> std::hex >> value;
    return !digits.fail() && digits.eof();
}

void checkOption(const ManifestEntry &entry, const std::string &key, Logger &logger) {
    const ValueRow *row = findRow(options, key);
    if (row == nullptr) {
        // The message has always named the other group, and readers of reports expect it.
        logger.log(DesktopMessage::FieldUnknown, {key, splashGroup});
        return;
    }
    for (const std::string &value : entry.stringVectorValue(optionsGroup, key)) {
        if (!isOneOf(row->values, value))
            logger.log(DesktopMessage::ValueInvalid, {value, optionsGroup, key});
    }
}

void checkSplashColour(const ManifestEntry &entry, const std::string &key, Logger &logger) {
    if (!isOneOf(splashColours, key)) {
        logger.log(DesktopMessage::FieldUnknown, {key, splashGroup});
        return;
    }
    const std::string value = entry.value(splashGroup, key);
    if (!isColour(value))
        logger.log(DesktopMessage::ColourInvalid, {value, splashGroup, key});
}

template<class Check>
void checkKeys(const ManifestEntry &entry, const std::string &group, Logger &logger, const Check &check) {
    for (const std::string &key : entry.groupKeys(group))
        check(entry, key, logger);
}

/// The group of a share method is allowed only if the launch entry names the method.
std::set<std::string> allowedGroups(const ManifestEntry &entry) {
    std::set<std::string> groups(std::begin(fixedGroups), std::end(fixedGroups));
    for (const std::string &method : entry.stringVectorValue("Desktop Entry", "X-Share-Methods"))
        groups.insert("X-Share Method " + method);
    return groups;
}

} // namespace

void checkGroups(const ManifestEntry &entry, Logger &logger) {
    const std::vector<std::string> groups = entry.groups();
    // Two walks: the report has all keys before all groups.
    for (const std::string &group : groups) {
        if (group == optionsGroup)
            checkKeys(entry, group, logger, checkOption);
        else if (group == splashGroup)
            checkKeys(entry, group, logger, checkSplashColour);
    }
    const std::set<std::string> allowed = allowedGroups(entry);
    for (const std::string &group : groups) {
        if (!allowed.contains(group) && !isTaskGroup(group))
            logger.log(DesktopMessage::GroupDisallowed, {group});
    }
}

void appendGroupRules(Rules &rules) {
    for (const char *group : fixedGroups) {
        // Of the names of the sandbox section only the first is today's, and the last is refused.
        const bool isOld = group == sandboxSections[1], isRefused = group == sandboxSections[2];
        rules.push_back({"group", isRefused ? "forbidden" : isOld ? "deprecated" : "allowed", group});
    }
    appendRules(rules, "group", "allowed",
                std::vector{"X-Share Method NAME", "X-Task NAME", "X-Service NAME"});
    appendValueRules(rules, "key", optionsGroup + '/', options);
    appendRules(rules, "key", "allowed", splashColours, splashGroup + '/');
}

} // namespace Validator
