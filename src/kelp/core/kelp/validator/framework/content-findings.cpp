#include "kelp/core/kelp/validator/framework/content-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[{0}] Installation not allowed in this location"},
    {LogLevel::Warning, "[arch] QML-only RPMs should be noarch"},
    {LogLevel::Error, "[debug] Debug symbols or sources must not be included"},
    {LogLevel::Error, "[/usr/bin] Direct package ownership of /usr/bin is disallowed"},
    {LogLevel::Error, "[{0}] Hardcoded path found"},
    {LogLevel::Critical, "[{0}] Symbolic link leads to nothing in the package"},
    {LogLevel::Critical, "[{0}] Symbolic link brings in too many files, or too deep directories"},
    {LogLevel::Critical, "[{0}] Symbolic link is not allowed in place of this directory"},
    {LogLevel::Critical, "[{0}] Path is not possible in a package"},
    {LogLevel::Critical, "[{0}] Another entry of the package is in this place"},
};

} // namespace

Message messageOf(ContentRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
