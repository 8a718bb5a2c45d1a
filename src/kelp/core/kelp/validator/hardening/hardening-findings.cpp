#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

namespace Validator {

namespace {

/// By the number of the rule. An error here is what no honest package has: what one may have is a warning.
constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "mode-half-executable",
     "[{0}] Group or others may execute the file and its owner may not", Subject::File},
    {LogLevel::Error, "desktop-file-second", "[{0}] Only the regular file {1} may lie there", Subject::File},
    {LogLevel::Error, "integrity-file-second", "[{0}] Only the regular file {1} may lie there",
     Subject::File},
    {LogLevel::Error, "directories-too-many", "[{0}] Directories are too many or too deep", Subject::File},
    {LogLevel::Error, "desktop-mime-type-forbidden", "[{0}] Handling this MIME type is not allowed"},
    {LogLevel::Critical, "scripts-other", "[scripts] Triggers and verify scripts are not allowed in RPM"},
    {LogLevel::Error, "dependency-disguised",
     "[{0}] Dependency looks like one on rpm, on the loader or on a file, and is none"},
    {LogLevel::Warning, "dependency-with-slash", "[{0}] Dependency is not checked, as it has a slash"},
    {LogLevel::Error, "file-capabilities", "[{0}] File capabilities are not allowed: {1}", Subject::File},
    {LogLevel::Warning, "file-capabilities-tolerated", "[{0}] File has capabilities: {1}", Subject::File},
    {LogLevel::Error, "owner-not-root-directory", "[{0}] Owners of directory should be root: {1}",
     Subject::File},
    {LogLevel::Warning, "owner-not-root-own-directory", "[{0}] Owners of directory should be root: {1}",
     Subject::File},
    {LogLevel::Warning, "special-mode-bits-directory",
     "[{0}] Directory has the setuid, setgid or sticky bit set", Subject::File},
    {LogLevel::Error, "file-in-place-of-directory", "[{0}] Only a directory can be installed in this place",
     Subject::File},
    {LogLevel::Error, "version-unusable",
     "[{0}] Version and release are not possible as the name of a directory"},
    {LogLevel::Warning, "version-long", "[{0}] Version and release are long"},
    {LogLevel::Warning, "name-of-another", "[{0}] Name is that of another application", Subject::File},
};

} // namespace

Message messageOf(HardeningRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendHardeningFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
