#include "kelp/core/kelp/validator/data/integrityd-rule.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[integrityd] integrityd configuration file mismatching package content"},
    {LogLevel::Error, "[integrityd] integrityd configuration file contains invalid JSON"},
};

} // namespace

Message messageOf(IntegritydRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
