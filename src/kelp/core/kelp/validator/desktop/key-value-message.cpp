#include "kelp/core/kelp/validator/desktop/key-value-message.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' for '{1}' key"},
    {LogLevel::Error, "[desktop] no key '{0}' in '{1}' group"},
};

} // namespace

Message messageOf(KeyValueMessage message, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(message), strings);
}

} // namespace Validator
