#include "kelp/core/kelp/validator/desktop/capabilities-message.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[desktop] invalid key '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' for '{1}' key"},
};

} // namespace

Message messageOf(CapabilitiesMessage message, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, message == CapabilitiesMessage::KeyInvalid ? 0 : 1, strings);
}

} // namespace Validator
