#include "kelp/core/kelp/validator/desktop/desktop-default.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-groups.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Validator {

namespace {

constexpr std::string_view vitrineType = "vitrine-qt5";
/// Applications of these types start more slowly: only a warning.
constexpr std::string_view otherTypes[] = {"no-invoker", "generic", "qtquick2", "qt5"};
/// With the blank: a longer program name must not match.
constexpr std::string_view qmlRunners[] = {"halyard-qml ", "velura-qml "};

/// The allowed Exec lines; a blank and arguments may follow.
std::vector<std::string> launchForms(const std::string &profile, const std::string &package) {
    // A web application has no program of its own; the browser takes the rest of the line.
    if (profile == "pwa")
        return {"/usr/bin/io.tvk.browserstandalone"};
    std::vector<std::string> forms = {package, "/usr/bin/" + package};
    for (const std::string_view runner : qmlRunners)
        forms.push_back(std::string(runner) + package);
    return forms;
}

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

DesktopDefault::DesktopDefault(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                               std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void DesktopDefault::validate(const std::string &path, const std::string &realPath) {
    // The file is parsed by now; without the flag it would count as missing at the end.
    logger_->setFlag(ValidatorFlag::DesktopSeen, true);
    remember(path, realPath);
    entry_ = Core::KELP::readDesktopFile(realPath);
    if (!entry_)
        return;
    checkGroups(*entry_, *logger_);
    checkName();
    checkIcon();
    checkType();
    checkExec();
    // After checkExec(), which sets its flag.
    checkApplicationType();
}

void DesktopDefault::checkName() {
    const std::string name = entry_->nameUnlocalized();
    if (name.empty())
        logger_->log(DesktopMessage::NameMissing);
    // An empty name gets both lines, as always.
    if (!isDisplayName(name))
        logger_->log(DesktopMessage::NameIllegal);
}

void DesktopDefault::checkIcon() {
    // The launcher looks for the image by this text, and the package ships it under its own name.
    if (entry_->icon() != meta_->name())
        logger_->log(DesktopMessage::IconInvalid, {meta_->name()});
}

void DesktopDefault::checkType() {
    if (entry_->type() != "Application")
        logger_->log(DesktopMessage::TypeInvalid);
}

void DesktopDefault::checkExec() {
    const std::string exec = entry_->exec();
    // The blank ends the program's name: "NAME-other" is another program. Arguments may be anything.
    const auto isForm = [&](const std::string &form) { return exec == form || exec.starts_with(form + " "); };
    if (std::ranges::none_of(launchForms(config_->name(), meta_->name()), isForm)) {
        logger_->log(DesktopMessage::ExecInvalid);
        return;
    }
    const auto runsExec = [&](std::string_view runner) { return exec.starts_with(runner); };
    if (std::ranges::any_of(qmlRunners, runsExec)) {
        logger_->setFlag(ValidatorFlag::QmlOnlyApp, true);
        logger_->log(DesktopMessage::QmlOnly);
    }
}

void DesktopDefault::checkApplicationType() {
    const std::string type = entry_->value("X-Pelago-Application-Type");
    if (type == vitrineType)
        logger_->setFlag(ValidatorFlag::VitrineApp, true);
    else if (logger_->getFlag(ValidatorFlag::QmlOnlyApp))
        logger_->log(DesktopMessage::QmlMustBeVitrine);
    else if (isOneOf(otherTypes, type))
        logger_->log(DesktopMessage::ShouldBeVitrine);
    else
        logger_->log(DesktopMessage::ApplicationTypeMissing);
}

void appendLaunchRules(Rules &rules, const Config &config) {
    const std::string_view group = "Desktop Entry/";
    appendRules(rules, "key", "allowed", launchForms(config.name(), "ID"), std::string(group) + "Exec=");
    appendRules(rules, "key", "allowed", otherTypes, std::string(group) + "X-Pelago-Application-Type=");
    appendRules(rules, "key", "required", std::vector{"Icon=ID", "Name=NAME", "Type=Application"}, group);
    appendRules(rules, "key", "allowed", std::vector{vitrineType},
                std::string(group) + "X-Pelago-Application-Type=");
}

} // namespace Validator
