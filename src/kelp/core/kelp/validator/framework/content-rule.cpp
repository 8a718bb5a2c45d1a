#include "kelp/core/kelp/validator/framework/content-rule.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[{0}] Installation not allowed in this location"},
    {LogLevel::Warning, "[arch] QML-only RPMs should be noarch"},
    {LogLevel::Error, "[debug] Debug symbols or sources must not be included"},
    {LogLevel::Error, "[/usr/bin] Direct package ownership of /usr/bin is disallowed"},
    {LogLevel::Error, "[{0}] Hardcoded path found"},
};

} // namespace

Message messageOf(ContentRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
