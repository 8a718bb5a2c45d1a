#include "kelp/core/kelp/validator/framework/message.h"

#include <stdexcept>

namespace Validator {

namespace {

/// The digit of a place "{N}" at the beginning of the text, or -1.
int placeAt(std::string_view text) {
    const bool isPlace =
        text.size() >= 3 && text[0] == '{' && text[1] >= '0' && text[1] <= '9' && text[2] == '}';
    return isPlace ? text[1] - '0' : -1;
}

} // namespace

Message composeMessage(std::span<const CatalogueEntry> catalogue, std::size_t key,
                       const std::vector<std::string> &strings) {
    if (key >= catalogue.size())
        throw std::out_of_range("No such message");
    Message message{catalogue[key].level, {}};
    for (std::string_view rest = catalogue[key].text; !rest.empty();) {
        const int place = placeAt(rest);
        if (place >= 0)
            message.text += strings.at(static_cast<std::size_t>(place));
        else
            message.text += rest.front();
        rest.remove_prefix(place >= 0 ? 3 : 1);
    }
    return message;
}

} // namespace Validator
