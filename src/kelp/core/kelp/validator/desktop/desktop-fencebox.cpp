#include "kelp/core/kelp/validator/desktop/desktop-fencebox.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/text.h"

namespace Validator {

namespace {

constexpr std::size_t maximumPackageName = 80;

constexpr std::string_view allowedKeys[] = {
    "Permissions", "OrganizationName", "ApplicationName", "ExecDBus", "ExportDBusInterfaces", "Intents",
};
constexpr std::string_view deviceManagerKeys[] = {
    "ExecSystemService",
    "ExecSystemServiceUser",
    "ExecSystemServiceGroup",
    "ExecSystemServiceAutostart",
};
/// A system service is described by all of these or by none.
constexpr const char *serviceKeys[] = {
    "ExecSystemService",
    "ExecSystemServiceUser",
    "ExecSystemServiceGroup",
};

constexpr std::string_view organisationCharacters = "0123456789abcdefghijklmnopqrstuvwxyz._-";
constexpr std::string_view reservedPrefixes[] = {".instance_", ".task_", ".velura_", ".service_"};
constexpr std::string_view launchers[] = {"libhalyardapp-launcher", "libveluraapp-launcher"};

bool hasOrganisationCharacters(std::string_view name) {
    return !name.empty() && name.find_first_not_of(organisationCharacters) == std::string_view::npos;
}

bool hasPartWithLeadingDigit(std::string_view name) {
    char previous = '.';
    for (const char c : name) {
        if (previous == '.' && isDigit(c))
            return true;
        previous = c;
    }
    return false;
}

bool canStartApplicationName(char c) {
    return isAlpha(c) || c == '-' || c == '_';
}
bool canContinueApplicationName(char c) {
    return canStartApplicationName(c) || isDigit(c) || c == '.';
}

bool isApplicationName(std::string_view name) {
    return !name.empty() && canStartApplicationName(name.front()) &&
           std::ranges::all_of(name.substr(1), canContinueApplicationName);
}

/// A name and what it is asked of, as in "name@service".
bool isParameterised(std::string_view permission) {
    return std::ranges::count(permission, '@') == 1 && !permission.starts_with('@') &&
           !permission.ends_with('@');
}

} // namespace

DesktopFencebox::DesktopFencebox(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                                 std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void DesktopFencebox::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    entry_ = AppManifest::ManifestEntry::fromFilename(realPath);
    section_ = entry_ ? sandboxSectionOf(*entry_) : nullptr;
    if (section_ == nullptr) {
        logger_->log(SandboxMessage::SectionMissing);
        logger_->setFlag(ValidatorFlag::NoSandboxSection, true);
        return;
    }
    checkSections();
    checkKeys();
    checkOrganisationName();
    checkApplicationName();
    checkReservedPrefixes();
    checkPackageName();
    checkSystemService();
    checkPermissions();
    checkLauncher();
    checkDash();
}

void DesktopFencebox::checkSections() {
    if (entry_->containsGroup("Fencebox"))
        logger_->log(SandboxMessage::SectionNotAllowed);
    const auto count = std::ranges::count_if(
        sandboxSections, [this](const std::string &section) { return entry_->containsGroup(section); });
    if (count > 1)
        logger_->log(SandboxMessage::MultipleSections);
    else if (*section_ == "X-Fencebox")
        logger_->log(SandboxMessage::SectionDeprecated);
}

void DesktopFencebox::checkKeys() {
    for (const std::string &key : entry_->groupKeys(*section_)) {
        if (!isOneOf(allowedKeys, key) && !(isDeviceManager() && isOneOf(deviceManagerKeys, key)))
            logger_->log(SandboxMessage::KeyNotAllowed, {key});
    }
}

void DesktopFencebox::checkOrganisationName() {
    const std::string name = entry_->appOrgname();
    if (!hasOrganisationCharacters(name))
        logger_->log(SandboxMessage::OrganisationNameIllegal);
    if (hasPartWithLeadingDigit(name))
        logger_->log(SandboxMessage::OrganisationNameStartsWithDigit);
    if (!isReverseDomain(name, 2))
        logger_->log(SandboxMessage::OrganisationNameNotReverseDomain);
}

void DesktopFencebox::checkApplicationName() {
    const std::string name = entry_->appName();
    if (!isApplicationName(name))
        logger_->log(SandboxMessage::ApplicationNameIllegal);
    if (hasDash())
        logger_->log(SandboxMessage::DashMayBreakServices);
}

void DesktopFencebox::checkReservedPrefixes() {
    const std::string name = entry_->appName();
    for (const std::string_view prefix : reservedPrefixes) {
        if (name.find(prefix) != std::string::npos)
            logger_->log(SandboxMessage::ApplicationNameReserved, {prefix});
    }
}

void DesktopFencebox::checkPackageName() {
    if (meta_->name().size() > maximumPackageName)
        logger_->log(SandboxMessage::PackageNameTooLong);
    if (meta_->name() != entry_->appOrgname() + "." + entry_->appName())
        logger_->log(SandboxMessage::NamesMakeNoPackageName);
}

void DesktopFencebox::checkSystemService() {
    if (!isDeviceManager())
        return;
    const auto count = std::ranges::count_if(serviceKeys, [this](const char *key) { return has(key); });
    if (count == 0)
        return;
    if (count != std::ssize(serviceKeys)) {
        logger_->log(SandboxMessage::SystemServiceIncomplete);
        return;
    }
    if (!value("ExecSystemService").starts_with("/usr/libexec/" + meta_->name() + "/"))
        logger_->log(SandboxMessage::SystemServiceInvalid);
    if (value("ExecSystemServiceUser") != "halyard-mdm" || value("ExecSystemServiceGroup") != "privileged")
        logger_->log(SandboxMessage::SystemServiceOwnerInvalid);
}

void DesktopFencebox::checkPermissions() {
    for (const std::string &permission : entry_->appPermissions()) {
        if (!isParameterised(permission) && !config_->allowedPermissions().contains(permission))
            logger_->log(SandboxMessage::PermissionNotAllowed, {permission});
    }
}

void DesktopFencebox::checkLauncher() {
    const bool isQmlOnly = logger_->getFlag(ValidatorFlag::QmlOnlyApp);
    bool isLauncherFound = false;
    for (const std::string &requirement : meta_->requirements()) {
        if (!isOneOf(launchers, requirement))
            continue;
        isLauncherFound = true;
        if (!isQmlOnly)
            logger_->log(SandboxMessage::LauncherNotAllowed, {requirement});
    }
    if (isQmlOnly && !isLauncherFound)
        logger_->log(SandboxMessage::LauncherMissing);
}

void DesktopFencebox::checkDash() {
    if (hasDash() && hasService())
        logger_->log(SandboxMessage::DashBreaksServices);
}

bool DesktopFencebox::hasDash() const {
    return entry_->appName().find('-') != std::string::npos;
}

bool DesktopFencebox::hasService() const {
    const bool hasSystemService =
        isDeviceManager() && std::ranges::all_of(serviceKeys, [this](const char *key) { return has(key); });
    return has("ExecDBus") || hasSystemService;
}

bool DesktopFencebox::isDeviceManager() const {
    return config_->name() == "mdm";
}

} // namespace Validator
