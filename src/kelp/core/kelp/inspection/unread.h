#pragma once

#include "kelp/core/common/errors/error.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// The failed reads of one look at a machine. One damaged file must not hide all others: the look goes on,
/// and shows these lines as well.
class Unread {
public:
    /// Returns what `read` returns. If that raises, keeps its text and returns nothing. The caller must take
    /// that for unknown, not for absent.
    template<class Read>
    auto attempt(const Read &read) -> std::optional<decltype(read())> {
        try {
            return read();
        } catch (const std::exception &error) {
            add(Common::explainedText(error));
            return std::nullopt;
        }
    }

    /// Keeps a text, but only once: several looks may fail at the same file.
    void add(const std::string &text) {
        if (std::ranges::find(texts_, text) == texts_.end())
            texts_.push_back(text);
    }

    /// In the order in which they were added; empty when all could be read.
    const std::vector<std::string> &texts() const { return texts_; }

private:
    std::vector<std::string> texts_;
};

} // namespace Core::KELP
