#include "kelp/core/kelp/validator/desktop/desktop-findings.h"

namespace Validator {

namespace {

/// These texts keep their old mistakes, such as a blank before a line feed, or "X-Fencebox" for
/// X-Application: makers' tools search for them. In each table of findings, the rows are in the order of the
/// enumeration of messages.
constexpr CatalogueEntry desktopTexts[] = {
    {LogLevel::Error, "desktop-file-missing", "[desktop] Desktop file is missing"},
    {LogLevel::Warning, "desktop-file-missing-unchecked",
     "Desktop file is missing, no validation for fencebox section"},
    {LogLevel::Error, "desktop-group-not-allowed", "[desktop] '{0}' group is disallowed"},
    {LogLevel::Error, "application-type-must-be-vitrine",
     "[desktop] X-Pelago-Application-Type must be vitrine-qt5 for halyard-qml apps"},
    {LogLevel::Warning, "application-type-should-be-vitrine",
     "[desktop] X-Pelago-Application-Type should be vitrine-qt5 (not a Vitrine app?)"},
    {LogLevel::Error, "application-type-missing",
     "[desktop] X-Pelago-Application-Type not declared (use vitrine-qt5 for QML apps)"},
    {LogLevel::Error, "desktop-name-missing", "[desktop] Missing valid Name declaration inside"},
    {LogLevel::Error, "desktop-name-illegal", "[desktop] Name contains illegal characters"},
    {LogLevel::Error, "desktop-icon-invalid",
     "[desktop] Missing valid Icon declaration inside, must be Icon={0}"},
    {LogLevel::Error, "desktop-exec-invalid", "[desktop] Missing valid Exec declaration inside"},
    {LogLevel::Error, "desktop-type-invalid", "[desktop] Missing valid Type declaration inside"},
    {LogLevel::Info, "desktop-qml-only", "[desktop] Application is a QML-only app"},
    {LogLevel::Error, "desktop-field-unknown", "[desktop] invalid field name '{0}' in '{1}' group"},
    {LogLevel::Error, "desktop-value-invalid", "[desktop] invalid value '{0}' in '{1}/{2}' field"},
    {LogLevel::Error, "desktop-colour-invalid",
     "[desktop] invalid value '{0}' in '{1}/{2}' field. \n"
     "The expected value is a color in hex format (#RRGGBB)."},
    {LogLevel::Error, "desktop-file-broken", "[desktop] Broken desktop file"},
};

constexpr CatalogueEntry sandboxTexts[] = {
    {LogLevel::Error, "sandbox-sections-multiple",
     "[fencebox] Multiple fencebox sections are not allowed, please use only \"X-Application\""},
    {LogLevel::Error, "sandbox-section-missing",
     "[fencebox] X-Application section should be specified in desktop file"},
    {LogLevel::Warning, "sandbox-section-deprecated",
     "[fencebox] \"X-Fencebox\" section will be deprecated in future versions, please use "
     "\"X-Application\" instead"},
    {LogLevel::Error, "sandbox-key-not-allowed", "[{0}] X-Fencebox key is not allowed"},
    {LogLevel::Error, "sandbox-permission-not-allowed", "[{0}] Permission is not allowed"},
    {LogLevel::Error, "sandbox-section-not-allowed",
     "[fencebox] Fencebox section is not allowed (use X-Application instead)"},
    {LogLevel::Error, "application-name-illegal", "[fencebox] ApplicationName contains illegal characters"},
    {LogLevel::Error, "application-name-reserved", "[fencebox] ApplicationName contains reserved prefix {0}"},
    {LogLevel::Error, "names-make-no-package-name",
     "[fencebox] OrganizationName and ApplicationName pair should form a package name (e.g. for package "
     "\"com.example.app\" ApplicationName must be \"app\" and OrganizationName must be \"com.example\")."},
    {LogLevel::Error, "package-name-too-long", "[fencebox] Package name too long (maximum is 80 characters)"},
    {LogLevel::Error, "organization-name-illegal", "[fencebox] OrganizationName contains illegal characters"},
    {LogLevel::Error, "organization-name-digit-first",
     "[fencebox] OrganizationName may not start with a number"},
    {LogLevel::Error, "organization-name-not-reverse-domain",
     "[fencebox] OrganizationName should follow reverse domain notation (at least up to "
     "second-level domain), e.g.: \"org.example\"."},
    {LogLevel::Warning, "application-name-dash-discouraged",
     "[fencebox] ExecDBus and/or ExecSystemService will not work, remove \"-\" from "
     "Application name"},
    {LogLevel::Error, "application-name-dash",
     "[fencebox] Application name contains illegal \"-\" symbol. It will cause ExecDBus "
     "and/or ExecSystemService failure in future"},
    {LogLevel::Error, "system-service-invalid",
     "[fencebox] ExecSystemService is incorrect, template rules are equal to ExecStart section"},
    {LogLevel::Error, "system-service-incomplete",
     "[fencebox] If application use system service, desktop file should include "
     "ExecSystemService, ExecSystemServiceUser and ExecSystemServiceGroup keys"},
    {LogLevel::Error, "system-service-owner",
     "[fencebox] System service user should be \"halyard-mdm\", system service group should "
     "be \"privileged\""},
    {LogLevel::Error, "exec-dbus-invalid",
     "[fencebox] ExecDBus is incorrect, template rules are equal to Exec section"},
    {LogLevel::Error, "launcher-requires-invalid", "[libveluraapp] Invalid Requires: {0}"},
    {LogLevel::Error, "launcher-requires-missing",
     "[libveluraapp] Add Requires: libveluraapp-launcher to the .spec file"},
};

constexpr CatalogueEntry taskTexts[] = {
    {LogLevel::Error, "task-key-not-allowed", "[desktop] Key '{0}' disallowed for background tasks"},
    {LogLevel::Error, "intent-invalid", "Invalid intent specification: {0}"},
    // No check raises it: an intent without a name is malformed. The row keeps the numbers of the later ones.
    {LogLevel::Error, "intent-name-missing", "Missing intent name: {0}"},
    {LogLevel::Error, "intent-not-standard", "Non standard intent name: {0}"},
    {LogLevel::Error, "intent-flag-unknown", "Unknown intent flag: {0}"},
    {LogLevel::Error, "task-invalid", "Invalid background task specification: {0}"},
    {LogLevel::Error, "task-type-unsupported", "Unsupported background task type: {0}"},
    {LogLevel::Error, "task-executable-name", "Invalid characters in executable name: {0}"},
    {LogLevel::Error, "task-executable-misplaced", "Executable missing or in wrong path: {0}"},
    {LogLevel::Error, "task-permission-not-allowed", "Permission not allowed for tasks: {0}"},
    {LogLevel::Error, "task-permission-implicit", "BaseTask permission is implicit, please remove it"},
    {LogLevel::Error, "task-permission-not-of-application",
     "Task permission needs to be in application too: {0}"},
    {LogLevel::Error, "task-condition-invalid", "Invalid condition specification: {0}"},
    {LogLevel::Error, "task-condition-unknown", "Unknown task condition: {0}"},
    {LogLevel::Error, "task-condition-subtype-unknown", "Unknown {0} condition subtype: {1}"},
};

constexpr CatalogueEntry keyValueTexts[] = {
    {LogLevel::Error, "attestation-key-invalid", "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "attestation-value-invalid", "[desktop] invalid value '{0}' for '{1}' key"},
    {LogLevel::Error, "attestation-key-missing", "[desktop] no key '{0}' in '{1}' group"},
};

/// The texts of the table above under ids of their own, so that makers can look up the group.
constexpr CatalogueEntry capabilityTexts[] = {
    {LogLevel::Error, "capability-key-invalid", "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "capability-value-invalid", "[desktop] invalid value '{0}' for '{1}' key"},
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

void appendDesktopFindings(std::vector<CatalogueEntry> &all) {
    for (const Catalogue catalogue : {Catalogue(desktopTexts), Catalogue(sandboxTexts), Catalogue(taskTexts),
                                      Catalogue(keyValueTexts), Catalogue(capabilityTexts)})
        all.insert(all.end(), catalogue.begin(), catalogue.end());
}

} // namespace Validator
