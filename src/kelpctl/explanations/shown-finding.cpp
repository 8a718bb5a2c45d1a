#include "kelpctl/explanations/shown-finding.h"

#include "kelpctl/explanations/explanation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>

namespace KelpCtl {

namespace {

using Validator::LogLevel;

/// The text without the path in brackets that many begin with: the line begins with the path already. One
/// text of the catalogue has a line feed.
std::string textAfter(const std::string &path, std::string text) {
    const std::string beginning = '[' + path + "] ";
    if (!path.empty() && text.starts_with(beginning))
        text.erase(0, beginning.size());
    std::ranges::replace(text, '\n', ' ');
    return text;
}

std::string lineOf(const Validator::Message &message) {
    const std::string path = shown(message.path);
    const std::string text = textAfter(path, shownText(message));
    return nameOf(message.level) + ": " + (path.empty() ? "" : path + ": ") + text + " [" +
           std::string(message.entry.id) + ']';
}

} // namespace

Style styleOf(LogLevel level) {
    return level == LogLevel::Warning ? Style::Yellow : level == LogLevel::Info ? Style::Bold : Style::Red;
}

std::string shownText(const Validator::Message &message) {
    // Each string by itself: escaping the whole text would escape the catalogue's own line feed too.
    std::vector<std::string> strings;
    std::ranges::transform(message.strings, std::back_inserter(strings),
                           [](const std::string &text) { return shown(text); });
    return Validator::composeText(message.entry.text, strings);
}

std::string fittedLine(const std::string &line, std::size_t indent, int file) {
    if (::isatty(file) == 0)
        return std::string(indent, ' ') + line;
    const std::size_t width = terminalWidth(file);
    std::string text = wrapped(line, std::max<std::size_t>(width, indent + 22) - indent - 2);
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += indent + 3)
        text.replace(at, 1, '\n' + std::string(indent + 2, ' '));
    return std::string(indent, ' ') + text;
}

std::string findingLine(const Validator::Message &message, int file, std::size_t indent) {
    std::string line = fittedLine(lineOf(message), indent, file);
    const std::string level = nameOf(message.level);
    // After the wrapping, which would count the sequences as columns.
    return line.replace(indent, level.size(), styled(level, styleOf(message.level), file));
}

} // namespace KelpCtl
