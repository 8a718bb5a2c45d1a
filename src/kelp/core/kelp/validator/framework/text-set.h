#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Validator {

/// The texts that were seen, by their digests: a million of them take sixteen megabytes, whatever their size.
class TextSet {
public:
    /// Whether the text is a new one. Of more than three million the set forgets all, so that it takes no
    /// more than 48 megabytes, and may take a text for new again.
    bool insert(std::uint32_t kind, std::string_view text);

private:
    bool place(std::uint64_t digest);
    void grow();

    std::vector<std::uint64_t> slots_; ///< 0 for an empty one.
    std::size_t count_ = 0;
};

} // namespace Validator
