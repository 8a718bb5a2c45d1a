#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Common {

/// Finds a text in a long list that is kept in another form: by its hash, and among equal hashes by the text
/// itself.
class TextIndex {
public:
    using TextOf = std::function<std::string(std::size_t number)>;

    TextIndex(std::size_t count, TextOf textOf);

    /// The last number below `count` that has the text.
    std::optional<std::size_t> find(const std::string &text) const;

private:
    TextOf textOf_;
    std::vector<std::pair<std::size_t, std::size_t>> numbers_; ///< By their hashes.
};

} // namespace Common
