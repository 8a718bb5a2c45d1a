#include "kelp/core/kelp/validator/qml/qml-scanner.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>

namespace Validator {

namespace {

constexpr std::string_view keyword = "import";

bool isSeparator(char c) {
    return isSpace(c) || c == ';';
}
/// Other characters that QML accepts in a name end it here: the lists judge the part before them.
bool isModuleCharacter(char c) {
    return isAlpha(c) || isDigit(c) || c == '.';
}
bool isVersionCharacter(char c) {
    return isDigit(c) || c == '.';
}

/// Takes everything up to and including the end mark, or all when there is none.
std::string_view takeThrough(std::string_view &text, char end, std::size_t from, Passage passage) {
    const std::size_t at = passage.find(text, end, from);
    const std::string_view taken = text.substr(0, at == std::string_view::npos ? at : at + 1);
    text.remove_prefix(taken.size());
    return taken;
}

/// "import" and one character after it that is no letter; the latter stays.
bool takeKeyword(std::string_view &line) {
    if (line.size() <= keyword.size() || !line.starts_with(keyword) || isAlpha(line[keyword.size()]))
        return false;
    line.remove_prefix(keyword.size());
    return true;
}

std::string_view takeModule(std::string_view &line, Passage passage) {
    if (!line.starts_with('"'))
        return passage.takeLeading(line, isModuleCharacter);
    return line.size() == 1 ? std::string_view() : takeThrough(line, '"', 1, passage);
}

void scanLine(std::string_view line, const std::function<void(const QmlImport &)> &visit, Passage passage) {
    while (!line.empty()) {
        passage.takeLeading(line, isSeparator);
        if (!takeKeyword(line))
            return;
        passage.takeLeading(line, isSpace);
        QmlImport import;
        import.module = takeModule(line, passage);
        passage.takeLeading(line, isSpace);
        import.version = passage.takeLeading(line, isVersionCharacter);
        if (import.module.empty())
            return;
        visit(import);
    }
}

/// Takes white space and the word after it.
std::string_view takeWord(std::string_view &text, Passage passage) {
    passage.takeLeading(text, isSpace);
    return passage.takeLeading(text, [](char c) { return !isSpace(c); });
}

} // namespace

void scanQmlImports(std::string_view text, const std::function<void(const QmlImport &)> &visit,
                    Passage passage) {
    for (bool inHead = true; inHead && !text.empty();) {
        std::string_view line = takeThrough(text, '\n', 0, passage);
        // The line itself is still scanned: an import may come before the brace.
        inHead = passage.find(line, '{') == std::string_view::npos;
        if (line.ends_with('\n'))
            line.remove_suffix(1);
        scanLine(line, visit, passage);
    }
}

void scanEmbeddedImports(std::string_view data, const std::function<void(const QmlImport &)> &visit,
                         Passage passage) {
    // All occurrences within one word give the same statement, so the search goes on after the word.
    // Otherwise a million "import" in a row would make the next words be read a million times.
    std::size_t lineEnd = 0;
    std::size_t wordEnd = 0;
    for (std::size_t at = 0; (at = passage.find(data, keyword, at)) != std::string_view::npos; at = wordEnd) {
        if (at >= lineEnd)
            lineEnd = passage.find(data, '\n', at);
        if (lineEnd == std::string_view::npos)
            return;
        std::string_view statement = data.substr(at, lineEnd - at);
        wordEnd = at + takeWord(statement, passage).size();
        QmlImport import;
        import.module = takeWord(statement, passage);
        import.version = takeWord(statement, passage);
        if (isPlainVersion(import.version))
            visit(import);
    }
}

bool isPlainVersion(std::string_view word) {
    const std::string_view major = takeLeading(word, isDigit);
    return !major.empty() && word.size() > 1 && word.front() == '.' &&
           std::ranges::all_of(word.substr(1), isDigit);
}

} // namespace Validator
