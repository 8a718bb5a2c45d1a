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

std::string composeText(std::string_view text, const std::vector<std::string> &strings) {
    // In one pass: a "{1}" in a string of a package is text, and no place for the next one.
    std::string composed;
    while (!text.empty()) {
        const int place = placeAt(text);
        if (place >= 0)
            composed += strings.at(static_cast<std::size_t>(place));
        else
            composed += text.front();
        text.remove_prefix(place >= 0 ? 3 : 1);
    }
    return composed;
}

Message composeMessage(Catalogue catalogue, std::size_t key, const std::vector<std::string> &strings) {
    // An exception here becomes a note in the report: a mistake in a catalogue fails no package.
    if (key >= catalogue.size())
        throw std::out_of_range("No such message");
    const CatalogueEntry &entry = catalogue[key];
    // The strings are kept, so that they can be escaped one by one, without the catalogue's own words.
    Message message{entry.level, composeText(entry.text, strings), entry, strings};
    if (entry.subject == Subject::File)
        message.path = strings.at(0);
    return message;
}

} // namespace Validator
