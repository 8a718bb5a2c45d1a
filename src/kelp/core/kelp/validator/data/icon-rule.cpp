#include "kelp/core/kelp/validator/data/icon-rule.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[{0}] Icon not found or file resolution is incorrect"},
};

} // namespace

Message messageOf(IconRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
