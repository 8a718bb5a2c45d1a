#include "kelp/core/common/text-index.h"

#include <algorithm>

namespace Common {

TextIndex::TextIndex(std::size_t count, TextOf textOf) : textOf_(std::move(textOf)) {
    numbers_.reserve(count);
    for (std::size_t number = 0; number < count; ++number)
        numbers_.emplace_back(std::hash<std::string>()(textOf_(number)), number);
    std::ranges::sort(numbers_);
}

std::optional<std::size_t> TextIndex::find(const std::string &text) const {
    const std::size_t hash = std::hash<std::string>()(text);
    std::optional<std::size_t> found;
    for (auto entry = std::ranges::lower_bound(numbers_, std::pair(hash, std::size_t{0}));
         entry != numbers_.end() && entry->first == hash; ++entry)
        if (textOf_(entry->second) == text)
            found = entry->second;
    return found;
}

} // namespace Common
