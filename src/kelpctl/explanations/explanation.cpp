#include "kelpctl/explanations/explanation.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>
#include <vector>

namespace KelpCtl {

namespace {

const char *placeOf(ExampleKind kind) {
    constexpr const char *places[] = {"in the .spec file", "in the desktop file", "/manifest.json",
                                      "path of a file in the package", "in a shell"};
    return places[static_cast<std::size_t>(kind)];
}

std::array<std::pair<const char *, std::string_view>, 3> paragraphsOf(const Explanation &explanation) {
    return {{{"What is wrong", explanation.what},
             {"Why", explanation.why},
             {"How to mend it", explanation.mend}}};
}

/// Stands for the name of a package in texts and examples.
constexpr std::string_view placeholder = "ID";
constexpr std::string_view exampleName = "org.example.notes";

/// A beginning of a text, and what stands in its place.
using Substitute = std::pair<std::string_view, std::string>;

/// The first that fits counts. A name that makes no good example of a key is no example: the parts of the
/// example's own name stay then.
std::vector<Substitute> substitutesFor(const std::string &name) {
    std::vector<Substitute> result = {{exampleName, name}};
    const std::size_t stop = name.rfind('.');
    const auto isCapital = [](unsigned char c) { return std::isupper(c) != 0; };
    const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; };
    if (stop == std::string::npos)
        return result;
    const std::string organization = name.substr(0, stop);
    const std::string application = name.substr(stop + 1);
    if (std::ranges::any_of(organization, isCapital) || !std::ranges::all_of(application, isPlain))
        return result;
    result.emplace_back("org.example", organization);
    result.emplace_back("ApplicationName=notes", "ApplicationName=" + application);
    return result;
}

bool isWordEnd(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) == 0;
}

/// Our texts have asterisks in paths, where none is a mark.
std::string withoutEmphasis(std::string_view text) {
    std::string result;
    for (const char c : text)
        (result += c == '*' ? "\\" : "") += c;
    return result;
}

} // namespace

std::string nameOf(Validator::LogLevel level) {
    constexpr const char *names[] = {"warning", "error", "critical", "info"};
    return names[static_cast<std::size_t>(level)];
}

/// Tools read these names, which never change.
std::string nameOf(ExampleKind kind) {
    constexpr const char *names[] = {"spec", "desktop", "manifest", "path", "shell"};
    return names[static_cast<std::size_t>(kind)];
}

const Explanation &explanationOf(std::string_view id) {
    static constexpr Explanation unknown{};
    for (const auto &table :
         {headerExplanations(), contentExplanations(), desktopExplanations(), sandboxExplanations(),
          taskExplanations(), programExplanations(), hardeningExplanations()})
        if (const auto found = std::ranges::find(table, id, &Explanation::id); found != table.end())
            return *found;
    return unknown;
}

std::string addressedTo(const std::string &name, std::string_view text) {
    const std::vector<Substitute> substitutes = substitutesFor(name);
    std::string result;
    while (!text.empty()) {
        const bool isPlaceholder = text.starts_with(placeholder) &&
                                   isWordEnd(result.empty() ? ' ' : result.back()) &&
                                   (text.size() == placeholder.size() || isWordEnd(text[placeholder.size()]));
        const auto found = std::ranges::find_if(
            substitutes, [&](const Substitute &substitute) { return text.starts_with(substitute.first); });
        const bool isExample = found != substitutes.end();
        result += isPlaceholder ? name : isExample ? found->second : std::string(text.substr(0, 1));
        text.remove_prefix(isPlaceholder ? placeholder.size() : isExample ? found->first.size() : 1);
    }
    return result;
}

std::string proseOf(const Validator::CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    std::string text = std::string(entry.id) + " (" + nameOf(entry.level) + ")\n\n";
    for (const auto &[heading, body] : paragraphsOf(explanation))
        text += heading + (": " + std::string(body)) + "\n\n";
    if (!explanation.topic.empty())
        text += "What is allowed: kelpctl rules " + std::string(explanation.topic) + "\n\n";
    if (addressedTo("", text) != text)
        text += "ID stands for the name of the package.\n\n";
    return text;
}

std::string exampleOf(const Validator::CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    std::string text = std::string("Example, ") + placeOf(explanation.kind) + ":\n";
    for (std::string_view rest = explanation.example; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        // No blanks at the ends of lines.
        text += end == 0 ? "\n" : "    " + std::string(rest.substr(0, end)) + '\n';
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return text;
}

std::string markdownOf(const Validator::CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    std::string text;
    for (const auto &[heading, body] : paragraphsOf(explanation))
        text += std::string("**") + heading + ":** " + withoutEmphasis(body) + "\n\n";
    if (!explanation.topic.empty())
        text += "**What is allowed:** `kelpctl rules " + std::string(explanation.topic) + "`\n\n";
    return text + "**Example**, " + placeOf(explanation.kind) + ":\n\n```\n" +
           std::string(explanation.example) + "\n```\n";
}

} // namespace KelpCtl
