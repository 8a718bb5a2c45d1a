#include "kelp/core/kelp/validator/desktop/desktop-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry desktopTexts[] = {
    {LogLevel::Error, "[desktop] Desktop file is missing"},
    {LogLevel::Warning, "Desktop file is missing, no validation for fencebox section"},
    {LogLevel::Error, "[desktop] '{0}' group is disallowed"},
    {LogLevel::Error, "[desktop] X-Pelago-Application-Type must be vitrine-qt5 for halyard-qml apps"},
    {LogLevel::Warning, "[desktop] X-Pelago-Application-Type should be vitrine-qt5 (not a Vitrine app?)"},
    {LogLevel::Error, "[desktop] X-Pelago-Application-Type not declared (use vitrine-qt5 for QML apps)"},
    {LogLevel::Error, "[desktop] Missing valid Name declaration inside"},
    {LogLevel::Error, "[desktop] Name contains illegal characters"},
    {LogLevel::Error, "[desktop] Missing valid Icon declaration inside, must be Icon={0}"},
    {LogLevel::Error, "[desktop] Missing valid Exec declaration inside"},
    {LogLevel::Error, "[desktop] Missing valid Type declaration inside"},
    {LogLevel::Info, "[desktop] Application is a QML-only app"},
    {LogLevel::Error, "[desktop] invalid field name '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' in '{1}/{2}' field"},
    {LogLevel::Error, "[desktop] invalid value '{0}' in '{1}/{2}' field. \n"
                      "The expected value is a color in hex format (#RRGGBB)."},
    {LogLevel::Error, "[desktop] Broken desktop file"},
};

constexpr CatalogueEntry sandboxTexts[] = {
    {LogLevel::Error,
     "[fencebox] Multiple fencebox sections are not allowed, please use only \"X-Application\""},
    {LogLevel::Error, "[fencebox] X-Application section should be specified in desktop file"},
    {LogLevel::Warning, "[fencebox] \"X-Fencebox\" section will be deprecated in future versions, please use "
                        "\"X-Application\" instead"},
    {LogLevel::Error, "[{0}] X-Fencebox key is not allowed"},
    {LogLevel::Error, "[{0}] Permission is not allowed"},
    {LogLevel::Error, "[fencebox] Fencebox section is not allowed (use X-Application instead)"},
    {LogLevel::Error, "[fencebox] ApplicationName contains illegal characters"},
    {LogLevel::Error, "[fencebox] ApplicationName contains reserved prefix {0}"},
    {LogLevel::Error,
     "[fencebox] OrganizationName and ApplicationName pair should form a package name (e.g. for package "
     "\"com.example.app\" ApplicationName must be \"app\" and OrganizationName must be \"com.example\")."},
    {LogLevel::Error, "[fencebox] Package name too long (maximum is 80 characters)"},
    {LogLevel::Error, "[fencebox] OrganizationName contains illegal characters"},
    {LogLevel::Error, "[fencebox] OrganizationName may not start with a number"},
    {LogLevel::Error, "[fencebox] OrganizationName should follow reverse domain notation (at least up to "
                      "second-level domain), e.g.: \"org.example\"."},
    {LogLevel::Warning, "[fencebox] ExecDBus and/or ExecSystemService will not work, remove \"-\" from "
                        "Application name"},
    {LogLevel::Error, "[fencebox] Application name contains illegal \"-\" symbol. It will cause ExecDBus "
                      "and/or ExecSystemService failure in future"},
    {LogLevel::Error,
     "[fencebox] ExecSystemService is incorrect, template rules are equal to ExecStart section"},
    {LogLevel::Error, "[fencebox] If application use system service, desktop file should include "
                      "ExecSystemService, ExecSystemServiceUser and ExecSystemServiceGroup keys"},
    {LogLevel::Error, "[fencebox] System service user should be \"halyard-mdm\", system service group should "
                      "be \"privileged\""},
    {LogLevel::Error, "[fencebox] ExecDBus is incorrect, template rules are equal to Exec section"},
    {LogLevel::Error, "[libveluraapp] Invalid Requires: {0}"},
    {LogLevel::Error, "[libveluraapp] Add Requires: libveluraapp-launcher to the .spec file"},
};

constexpr CatalogueEntry taskTexts[] = {
    {LogLevel::Error, "[desktop] Key '{0}' disallowed for background tasks"},
    {LogLevel::Error, "Invalid intent specification: {0}"},
    {LogLevel::Error, "Missing intent name: {0}"},
    {LogLevel::Error, "Non standard intent name: {0}"},
    {LogLevel::Error, "Unknown intent flag: {0}"},
    {LogLevel::Error, "Invalid background task specification: {0}"},
    {LogLevel::Error, "Unsupported background task type: {0}"},
    {LogLevel::Error, "Invalid characters in executable name: {0}"},
    {LogLevel::Error, "Executable missing or in wrong path: {0}"},
    {LogLevel::Error, "Permission not allowed for tasks: {0}"},
    {LogLevel::Error, "BaseTask permission is implicit, please remove it"},
    {LogLevel::Error, "Task permission needs to be in application too: {0}"},
    {LogLevel::Error, "Invalid condition specification: {0}"},
    {LogLevel::Error, "Unknown task condition: {0}"},
    {LogLevel::Error, "Unknown {0} condition subtype: {1}"},
};

constexpr CatalogueEntry keyValueTexts[] = {
    {LogLevel::Error, "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' for '{1}' key"},
    {LogLevel::Error, "[desktop] no key '{0}' in '{1}' group"},
};

constexpr CatalogueEntry capabilityTexts[] = {
    {LogLevel::Error, "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' for '{1}' key"},
};

} // namespace

Message messageOf(DesktopMessage message, const std::vector<std::string> &strings) {
    return composeMessage(desktopTexts, static_cast<std::size_t>(message), strings);
}

Message messageOf(SandboxMessage message, const std::vector<std::string> &strings) {
    return composeMessage(sandboxTexts, static_cast<std::size_t>(message), strings);
}

Message messageOf(TasksMessage message, const std::vector<std::string> &strings) {
    return composeMessage(taskTexts, static_cast<std::size_t>(message), strings);
}

Message messageOf(KeyValueMessage message, const std::vector<std::string> &strings) {
    return composeMessage(keyValueTexts, static_cast<std::size_t>(message), strings);
}

Message messageOf(CapabilitiesMessage message, const std::vector<std::string> &strings) {
    return composeMessage(capabilityTexts, message == CapabilitiesMessage::KeyInvalid ? 0 : 1, strings);
}

} // namespace Validator
