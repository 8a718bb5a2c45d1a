#include "kelp/core/kelp/validator/desktop/desktop-fencebox.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/text.h"

namespace Validator {

namespace {

/// It becomes part of D-Bus and file names, which have limits of their own.
constexpr std::size_t maximumPackageName = 80;

/// Any other key has no effect, or one that the application may not have.
constexpr std::string_view allowedKeys[] = {
    "Permissions", "OrganizationName", "ApplicationName", "ExecDBus", "ExportDBusInterfaces", "Intents",
};
constexpr std::string_view deviceManagerKeys[] = {
    "ExecSystemService",
    "ExecSystemServiceUser",
    "ExecSystemServiceGroup",
    "ExecSystemServiceAutostart",
};
constexpr std::string_view deviceManager = "mdm";
/// A system service is described by all of these or by none.
constexpr const char *serviceKeys[] = {
    "ExecSystemService",
    "ExecSystemServiceUser",
    "ExecSystemServiceGroup",
};

/// It becomes part of directories and D-Bus names: a slash would lead out of its directory.
constexpr std::string_view organisationCharacters = "0123456789abcdefghijklmnopqrstuvwxyz._-";
/// The system appends these to the names of applications. A name with one of them could pass for an instance,
/// a task or a service of another.
constexpr std::string_view reservedPrefixes[] = {".instance_", ".task_", ".velura_", ".service_"};
/// The launchers of applications without a program.
constexpr std::string_view launchers[] = {"libhalyardapp-launcher", "libveluraapp-launcher"};

bool hasOrganisationCharacters(std::string_view name) {
    return !name.empty() && name.find_first_not_of(organisationCharacters) == std::string_view::npos;
}

/// D-Bus names cannot have such parts.
bool hasPartWithLeadingDigit(std::string_view name) {
    // The first part follows nothing, the others a full stop.
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

/// A permission with a parameter, as in "name@service". No list can hold all parameters, so these pass with
/// any name.
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
    entry_ = Core::KELP::readDesktopFile(realPath);
    // Without a section nothing is known of the application: all its rules would only repeat that.
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
    // Only the last section is used and judged, so there may be only one.
    const auto count = std::ranges::count_if(
        sandboxSections, [this](const std::string &section) { return entry_->containsGroup(section); });
    if (count > 1)
        logger_->log(SandboxMessage::MultipleSections);
    else if (*section_ == "X-Fencebox")
        logger_->log(SandboxMessage::SectionDeprecated);
}

void DesktopFencebox::checkKeys() {
    // A translated key counts as another key and is refused: permissions must not depend on a language.
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
    // Only a warning: D-Bus cannot reach a service of such a name, but that is checked apart.
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
    // The sandbox knows the application by these two names, the store by the package's. Without the rule a
    // package could take the names, and so the data, of another.
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
    // With the slash, as "/usr/libexec/NAME-other" belongs to another package.
    if (!value("ExecSystemService").starts_with("/usr/libexec/" + meta_->name() + "/"))
        logger_->log(SandboxMessage::SystemServiceInvalid);
    // The system starts the service with these rights; the package must not choose others.
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
    // The checker of the launch entry has set this before.
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
    // The service would have a name that D-Bus cannot hold.
    if (hasDash() && hasService())
        logger_->log(SandboxMessage::DashBreaksServices);
}

bool DesktopFencebox::hasDash() const {
    return entry_->appName().find('-') != std::string::npos;
}

bool DesktopFencebox::hasService() const {
    const bool hasSystemService =
        // An incomplete service is not started, and has its own finding.
        isDeviceManager() && std::ranges::all_of(serviceKeys, [this](const char *key) { return has(key); });
    return has("ExecDBus") || hasSystemService;
}

bool DesktopFencebox::isDeviceManager() const {
    return config_->name() == deviceManager;
}

void appendSandboxRules(Rules &rules, const Config &config) {
    appendRules(rules, "key", "allowed", allowedKeys, sandboxSections.front() + '/');
    if (config.name() == deviceManager)
        appendRules(rules, "key", "allowed", deviceManagerKeys, sandboxSections.front() + '/');
    for (const std::string_view prefix : reservedPrefixes)
        rules.push_back({"name", "reserved", "ApplicationName=*" + std::string(prefix) + '*'});
    rules.push_back({"name", "allowed", "OrganizationName.ApplicationName=ID"});
    rules.push_back({"permission", "allowed", "NAME@NAME"});
}

} // namespace Validator
