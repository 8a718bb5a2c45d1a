#include "kelp/core/kelp/inspection/unread.h"

#include <algorithm>

namespace Core::KELP {

void Unread::add(const std::string &text) {
    // Several looks may fail at the same file.
    if (std::ranges::find(texts_, text) == texts_.end())
        texts_.push_back(text);
}

} // namespace Core::KELP
