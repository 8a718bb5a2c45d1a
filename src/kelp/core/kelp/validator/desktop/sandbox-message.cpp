#include "kelp/core/kelp/validator/desktop/sandbox-message.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
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

} // namespace

Message messageOf(SandboxMessage message, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(message), strings);
}

} // namespace Validator
