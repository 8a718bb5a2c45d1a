#include "kelp/core/kelp/validator/data/configuration-parameter-file-rule.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[{0}] Configuration parameter file for managed configuration is invalid"},
};

} // namespace

Message messageOf(ConfigurationParameterFileRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
