#include "kelp/core/kelp/take-over/compact-paths.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <stdexcept>

namespace Core::KELP {

void CompactPaths::push_back(std::string_view path) {
    if (text_.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many paths");
    const std::size_t nameBegin = path.rfind('/') + 1; // 0 for a name alone.
    const std::string_view directory = path.substr(0, nameBegin);
    if (directories_.empty() || directories_.back().path != directory)
        directories_.push_back({std::string(directory), names_.size()});
    names_.push_back(static_cast<std::uint32_t>(text_.size()));
    text_.append(path.substr(nameBegin));
}

void CompactPaths::shrinkToFit() {
    directories_.shrink_to_fit();
    text_.shrink_to_fit();
    names_.shrink_to_fit();
}

std::string CompactPaths::operator[](std::size_t number) const {
    const auto next = std::ranges::upper_bound(directories_, number, {}, &Directory::first);
    const std::size_t end = number + 1 < names_.size() ? names_[number + 1] : text_.size();
    return std::prev(next)->path + text_.substr(names_[number], end - names_[number]);
}

} // namespace Core::KELP
