#include "kelp/core/common/escaped-line.h"

namespace Common {

std::string escapeLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char character : text) {
        if (character == '\n')
            line += "\\n";
        else if (character == '\\')
            line += "\\\\";
        else
            line += character;
    }
    return line;
}

std::string unescapeLine(std::string_view line) {
    std::string text;
    text.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool escaped =
            line[i] == '\\' && i + 1 < line.size() && (line[i + 1] == 'n' || line[i + 1] == '\\');
        if (!escaped)
            text += line[i];
        else
            text += line[++i] == 'n' ? '\n' : '\\';
    }
    return text;
}

} // namespace Common
