#include "kelp/core/kelp/validator/framework/content-findings.h"

namespace Validator {

namespace {

/// Rows are ordered by the number of their rule: a row in between would shift the texts and ids of all later
/// rules.
constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "location-not-allowed", "[{0}] Installation not allowed in this location",
     Subject::File},
    {LogLevel::Warning, "qml-only-not-noarch", "[arch] QML-only RPMs should be noarch"},
    {LogLevel::Error, "debug-files", "[debug] Debug symbols or sources must not be included"},
    {LogLevel::Error, "bin-directory-owned", "[/usr/bin] Direct package ownership of /usr/bin is disallowed"},
    {LogLevel::Error, "hardcoded-path", "[{0}] Hardcoded path found", Subject::File},
    // Critical from here on: such a package cannot be unpacked as it says, or brings in unjudged files. The
    // developer mode does not excuse that.
    {LogLevel::Critical, "link-to-nothing", "[{0}] Symbolic link leads to nothing in the package",
     Subject::File},
    {LogLevel::Critical, "link-to-too-much",
     "[{0}] Symbolic link brings in too many files, or too deep directories", Subject::File},
    {LogLevel::Critical, "link-replaces-directory",
     "[{0}] Symbolic link is not allowed in place of this directory", Subject::File},
    {LogLevel::Critical, "path-impossible", "[{0}] Path is not possible in a package", Subject::File},
    {LogLevel::Critical, "place-taken", "[{0}] Another entry of the package is in this place", Subject::File},
    {LogLevel::Critical, "package-name-unusable",
     "[package] Name and version are not possible as the name of a directory"},
    {LogLevel::Critical, "payload-digest-wrong", "[package] Payload does not match its digest"},
    {LogLevel::Critical, "header-digest-wrong", "[package] Header does not match its digest"},
};

} // namespace

Message messageOf(ContentRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendContentFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
