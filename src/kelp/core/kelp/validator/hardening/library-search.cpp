#include "kelp/core/kelp/validator/hardening/library-search.h"

#include <algorithm>
#include <filesystem>

namespace Validator {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view systemDirectories[] = {"/lib/", "/lib64/", "/usr/lib/", "/usr/lib64/"};
constexpr std::string_view thirdParty = "3rdparty/";
constexpr std::string_view packageDirectories[] = {"/usr/share/", "/usr/libexec/", "/usr/lib/3rdparty/",
                                                   "/usr/lib64/3rdparty/"};

/// The loader's own words in place of which it takes a directory, both with and without braces.
std::string replaced(std::string text, const std::string &word, const std::string &meaning) {
    for (const std::string &form : {"${" + word + "}", "$" + word})
        for (std::size_t at = 0; (at = text.find(form, at)) != std::string::npos; at += meaning.size())
            text.replace(at, form.size(), meaning);
    return text;
}

bool isOfSystem(std::string_view directory) {
    return std::ranges::any_of(systemDirectories, [&](std::string_view system) {
        return directory.starts_with(system) && !directory.substr(system.size()).starts_with(thirdParty);
    });
}

} // namespace

bool leavesLibraries(std::string_view piece, std::string_view path, const std::string &package) {
    const std::string origin = fs::path(path).parent_path();
    const fs::path directory = replaced(replaced(std::string(piece), "ORIGIN", origin), "LIB", "lib64");
    if (!directory.is_absolute())
        return true;
    const std::string resolved = (directory / "").lexically_normal();
    return !isOfSystem(resolved) && std::ranges::none_of(packageDirectories, [&](std::string_view own) {
        return resolved.starts_with(std::string(own) + package + '/');
    });
}

} // namespace Validator
