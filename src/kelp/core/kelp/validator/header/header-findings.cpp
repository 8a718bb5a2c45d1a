#include "kelp/core/kelp/validator/header/header-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "Package name should follow reverse domain notation (e.g. \"org.example.app\")"},
    {LogLevel::Warning, "[{0}] Dependency is unstable or deprecated"},
    {LogLevel::Error, "[{0}] Dependency is not allowed"},
    {LogLevel::Error, "[{0}] Provides: {0} is not allowed in RPM"},
    {LogLevel::Error, "[{0}] Provides: {0} must be specified in RPM"},
    {LogLevel::Error, "[{0}] Conflicts: {0} is not allowed in RPM"},
    {LogLevel::Error, "[{0}] Conflicts: {0} must be specified in RPM"},
    {LogLevel::Error, "[{0}] Obsoletes: {0} is not allowed in RPM"},
    {LogLevel::Warning, "[vendor] Vendor is set to {0}, this is not recommended"},
    {LogLevel::Error, "[vendor] Vendor is set to {0}. Setting a vendor in RPM is not allowed"},
    {LogLevel::Critical, "[scripts] Script sections are not allowed in RPM"},
    {LogLevel::Error, "[{0}] Found setuid, setgid or sticky bit set"},
    {LogLevel::Error, "[{0}] File must not be executable"},
    {LogLevel::Error, "[{0}] Group or World writable {1}"},
    {LogLevel::Warning, "[{0}] Group or World writable {1}"},
    {LogLevel::Error, "[{0}] User owner should be root"},
    {LogLevel::Error, "[{0}] Group owner should be root"},
    {LogLevel::Info, "[{0}] Beware that symbolic links are only allowed for exclusive paths"},
    {LogLevel::Error, "[{0}] Symbolic link is targeting to not allowed path for it: {1}"},
    {LogLevel::Error, "[{0}] Failed to read file attributes"},
    {LogLevel::Error, "[{0}] Installation not allowed in this location: forbidden file extension"},
    {LogLevel::Warning, "[{0}] Empty directory (can be omitted during package installation)"},
};

} // namespace

Message messageOf(PathRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
