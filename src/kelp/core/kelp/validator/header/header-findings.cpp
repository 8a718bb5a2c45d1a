#include "kelp/core/kelp/validator/header/header-findings.h"

namespace Validator {

namespace {

/// By the number of the rule. The texts stay as they are, with subjects that are named twice: tools of makers
/// look for them.
constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "name-not-reverse-domain",
     "Package name should follow reverse domain notation (e.g. \"org.example.app\")"},
    {LogLevel::Warning, "dependency-unstable", "[{0}] Dependency is unstable or deprecated"},
    {LogLevel::Error, "dependency-not-allowed", "[{0}] Dependency is not allowed"},
    {LogLevel::Error, "provides-not-allowed", "[{0}] Provides: {0} is not allowed in RPM"},
    {LogLevel::Error, "provides-missing", "[{0}] Provides: {0} must be specified in RPM"},
    {LogLevel::Error, "conflicts-not-allowed", "[{0}] Conflicts: {0} is not allowed in RPM"},
    {LogLevel::Error, "conflicts-missing", "[{0}] Conflicts: {0} must be specified in RPM"},
    {LogLevel::Error, "obsoletes-not-allowed", "[{0}] Obsoletes: {0} is not allowed in RPM"},
    {LogLevel::Warning, "vendor-discouraged", "[vendor] Vendor is set to {0}, this is not recommended"},
    {LogLevel::Error, "vendor-not-allowed",
     "[vendor] Vendor is set to {0}. Setting a vendor in RPM is not allowed"},
    {LogLevel::Critical, "scripts", "[scripts] Script sections are not allowed in RPM"},
    {LogLevel::Error, "special-mode-bits", "[{0}] Found setuid, setgid or sticky bit set", Subject::File},
    {LogLevel::Error, "executable-mode", "[{0}] File must not be executable", Subject::File},
    {LogLevel::Error, "writable-by-others", "[{0}] Group or World writable {1}", Subject::File},
    {LogLevel::Warning, "writable-by-others-tolerated", "[{0}] Group or World writable {1}", Subject::File},
    {LogLevel::Error, "owner-not-root", "[{0}] User owner should be root", Subject::File},
    {LogLevel::Error, "group-not-root", "[{0}] Group owner should be root", Subject::File},
    {LogLevel::Info, "link-exclusive-paths",
     "[{0}] Beware that symbolic links are only allowed for exclusive paths", Subject::File},
    {LogLevel::Error, "link-target-not-allowed",
     "[{0}] Symbolic link is targeting to not allowed path for it: {1}", Subject::File},
    {LogLevel::Error, "file-kind-unknown", "[{0}] Failed to read file attributes", Subject::File},
    {LogLevel::Error, "file-extension-forbidden",
     "[{0}] Installation not allowed in this location: forbidden file extension", Subject::File},
    {LogLevel::Warning, "directory-empty",
     "[{0}] Empty directory (can be omitted during package installation)", Subject::File},
};

} // namespace

Message messageOf(PathRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendHeaderFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
