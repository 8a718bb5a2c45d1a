#include "kelp/core/kelp/validator/desktop/desktop-checks.h"

#include "platform/app-manifest/manifest-entry.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <locale>
#include <memory>
#include <set>
#include <sstream>

namespace Validator {

namespace {

struct Free {
    void operator()(char *text) const { std::free(text); }
};

/// The errors for which the package's own path is at fault.
constexpr int faultsOfThePath[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG};

/// The path without links, or nothing if it is dangling. A link in the package's directory to a program of
/// the system must not pass for one of the package.
std::string resolved(const std::string &path) {
    const std::unique_ptr<char, Free> result(::realpath(path.c_str(), nullptr));
    if (result)
        return result.get();
    if (std::ranges::find(faultsOfThePath, errno) == std::end(faultsOfThePath))
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path, errno);
    std::cerr << "ExecDBus error: " << std::strerror(errno) << '\n';
    return {};
}

std::string unpackedPathOf(const std::string &systemPath, const UnpackedTree &tree) {
    return tree.root + "/" + Core::KELP::packagePathOf(systemPath, tree.mappings).string();
}

} // namespace

bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree) {
    // Joined with the root as texts: the standard path type would drop the root before an absolute path.
    std::string program(programOf(launchLine));
    std::string binary = "/usr/bin/" + packageName;
    std::string directory = "/usr/libexec/" + packageName;
    // Resolved in any case: its line on standard error belongs to the report. The main binary then passes by
    // its name; the checker of programs reports it if it is missing.
    if (tree.mappings.empty())
        return resolved(tree.root + program).find(directory) != std::string::npos || program == binary;

    for (std::string *path : {&binary, &program, &directory})
        *path = unpackedPathOf(*path, tree);
    return resolved(program).find(directory) != std::string::npos || program == binary;
}

namespace {

// ICU's macro narrows from int in its own arithmetic.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
/// Decodes the character at `position` and moves past it. Negative for a malformed one.
UChar32 nextCharacter(const std::uint8_t *text, std::int32_t &position, std::int32_t size) {
    UChar32 character = U_SENTINEL;
    U8_NEXT(text, position, size, character);
    return character;
}
#pragma GCC diagnostic pop

/// Allowed between words, but a name of blanks alone would be invisible.
bool isBlank(UChar32 character) {
    return character == 0x20 || character == 0xa0;
}

/// Invisible characters, changes of direction, and characters that differ by device could make a name look
/// like another application's.
bool isVisible(UChar32 character) {
    switch (u_charType(character)) {
    case U_UNASSIGNED:
    case U_SPACE_SEPARATOR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_PRIVATE_USE_CHAR:
    case U_SURROGATE:
        return false;
    default:
        return true;
    }
}

} // namespace

bool isDisplayName(std::string_view text) {
    // ICU counts bytes in 32 bits.
    if (text.size() > std::numeric_limits<std::int32_t>::max())
        return false;
    const auto size = static_cast<std::int32_t>(text.size());
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(text.data());
    bool anyVisible = false;
    for (std::int32_t position = 0; position < size;) {
        const UChar32 character = nextCharacter(bytes, position, size);
        if (isBlank(character))
            continue;
        if (character < 0 || !isVisible(character))
            return false;
        anyVisible = true;
    }
    return anyVisible;
}

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
        // All names of the sandbox section but the first are older ones.
        const bool isOld =
            std::find(sandboxSections.begin() + 1, sandboxSections.end(), group) != sandboxSections.end();
        rules.push_back({"group", isOld ? "deprecated" : "allowed", group});
    }
    appendRules(rules, "group", "allowed",
                std::vector{"X-Share Method NAME", "X-Task NAME", "X-Service NAME"});
    appendValueRules(rules, "key", optionsGroup + '/', options);
    appendRules(rules, "key", "allowed", splashColours, splashGroup + '/');
}

} // namespace Validator
