#include "kelp/core/kelp/desktop-file/name-flood.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace Core::KELP {

namespace {

using namespace std::string_view_literals;

/// Of names that were not made to collide, only a handful share a hash.
constexpr std::ptrdiff_t maximumOfOneHash = 64;

/// Fifty times what desktop files in all languages have. The reader takes some seven hundred bytes for each.
constexpr std::size_t maximumNames = 50'000;

constexpr std::string_view blanks = " \t\r\v\f";
/// A zero ends the reader's texts as well.
constexpr auto endsOfName = "=]\0"sv;

/// The hash of g_str_hash().
std::uint32_t hashOf(std::string_view name) {
    std::uint32_t hash = 5381;
    for (const char c : name)
        // The reader takes bytes as signed, even where char is unsigned.
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return hash;
}

/// The key or the group that a line names.
std::string_view nameIn(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (line.starts_with('['))
        line.remove_prefix(1);
    const std::string_view name = line.substr(0, line.find_first_of(endsOfName));
    return name.substr(0, name.find_last_not_of(blanks) + 1);
}

using HashedName = std::pair<std::uint32_t, std::string_view>;

/// One entry for each line with a name, up to one above the limit.
std::vector<HashedName> namesIn(std::string_view text) {
    std::vector<HashedName> names;
    while (!text.empty() && names.size() <= maximumNames) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string_view name = nameIn(line);
        if (!name.empty() && !name.starts_with('#'))
            names.emplace_back(hashOf(name), name);
    }
    return names;
}

} // namespace

bool isNameFlood(std::string_view text) {
    std::vector<HashedName> names = namesIn(text);
    if (names.size() > maximumNames)
        return true;
    std::ranges::sort(names);
    // A repeated name is no new entry in the reader's tables.
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (auto first = names.begin(); first != names.end();) {
        const auto last = std::find_if(first, names.end(),
                                       [&](const HashedName &name) { return name.first != first->first; });
        if (last - first > maximumOfOneHash)
            return true;
        first = last;
    }
    return false;
}

} // namespace Core::KELP
