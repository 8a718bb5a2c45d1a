#include "kelpctl/mend/home-redaction.h"

#include <algorithm>
#include <cctype>

namespace KelpCtl {

namespace {

bool isPartOfName(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) || character == '_' || character == '-' ||
           character == '.' || character == '/';
}

std::size_t endOfPath(std::string_view text) {
    std::size_t end = std::min({text.find('\n'), text.find('"'), text.find('\0'), text.size()});
    for (const std::string_view stop : {": ", ", ", "; ", " -> "})
        end = std::min(end, text.find(stop));
    return end;
}

/// The length of the path below one of the homes with which the text begins; none is 0.
std::size_t pathBelow(std::string_view text, const std::vector<std::string> &homes) {
    for (const std::string &home : homes)
        if (text.starts_with(home) && text.substr(home.size()).starts_with('/'))
            return endOfPath(text);
    return 0;
}

} // namespace

std::string withoutHomes(std::string_view text, const std::vector<std::string> &homes) {
    std::string result;
    while (!text.empty()) {
        const bool isStart = result.empty() || !isPartOfName(result.back());
        if (const std::size_t length = isStart ? pathBelow(text, homes) : 0) {
            result += "<home>";
            text.remove_prefix(length);
        } else {
            result += text.front();
            text.remove_prefix(1);
        }
    }
    return result;
}

} // namespace KelpCtl
