#include "kelp/core/kelp/validator/hardening/library-search.h"

#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <utility>

namespace Validator {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view systemDirectories[] = {"/lib/", "/lib64/", "/usr/lib/", "/usr/lib64/"};
constexpr std::string_view thirdParty = "3rdparty/";
constexpr std::string_view packageDirectories[] = {"/usr/share/", "/usr/libexec/", "/usr/lib/3rdparty/",
                                                   "/usr/lib64/3rdparty/"};

/// Whether the text begins with one of the loader's words. The loader leaves a longer word unchanged.
bool beginsWithWord(std::string_view text, std::string_view word) {
    if (!text.starts_with(word))
        return false;
    const char next = word.size() < text.size() ? text[word.size()] : '/';
    return word.ends_with('}') || !(isAlpha(next) || isDigit(next) || next == '_');
}

/// The piece with each such word replaced by a directory.
std::string expanded(std::string_view piece, std::string_view origin) {
    const std::pair<std::string_view, std::string_view> words[] = {
        {"$ORIGIN", origin}, {"${ORIGIN}", origin}, {"$LIB", "lib64"}, {"${LIB}", "lib64"}};
    std::string text;
    while (!piece.empty()) {
        const auto *word =
            std::ranges::find_if(words, [&](const auto &w) { return beginsWithWord(piece, w.first); });
        const bool isWord = word != std::end(words);
        text += isWord ? word->second : piece.substr(0, 1);
        piece.remove_prefix(isWord ? word->first.size() : 1);
    }
    return text;
}

bool isOfSystem(std::string_view directory) {
    return std::ranges::any_of(systemDirectories, [&](std::string_view system) {
        return directory.starts_with(system) && !directory.substr(system.size()).starts_with(thirdParty);
    });
}

} // namespace

bool leavesLibraries(std::string_view piece, std::string_view path, const std::string &package) {
    if (!piece.starts_with('/') && !piece.starts_with('$'))
        return true;
    // A longer one cannot be a directory.
    const fs::path directory = expanded(piece.substr(0, PATH_MAX), path.substr(0, path.rfind('/')));
    if (!directory.is_absolute() || piece.size() > PATH_MAX)
        return true;
    const std::string resolved = (directory / "").lexically_normal();
    return !isOfSystem(resolved) && std::ranges::none_of(packageDirectories, [&](std::string_view own) {
        return resolved.starts_with(std::string(own) + package + '/');
    });
}

void appendSearchRules(Rules &rules) {
    for (const std::string_view directory : systemDirectories)
        rules.push_back({"rpath", "harmless", std::string(directory) + '*'});
    for (const std::string_view directory : packageDirectories)
        rules.push_back({"rpath", "harmless", std::string(directory) + "ID/*"});
}

} // namespace Validator
