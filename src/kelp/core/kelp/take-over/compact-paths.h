#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Core::KELP {

/// Many paths in the order of a list of files. Neighbours in one directory share its text. For 40,000 files
/// this takes a tenth of the memory of strings.
class CompactPaths {
public:
    std::size_t size() const { return names_.size(); }

    void push_back(std::string_view path);
    std::string operator[](std::size_t number) const;

    /// Gives back what growing has reserved.
    void shrinkToFit();

private:
    struct Directory {
        std::string path;  ///< Up to its last "/".
        std::size_t first; ///< The number of the first path in it.
    };

    std::vector<Directory> directories_;
    std::string text_;                 ///< All names, one after the other.
    std::vector<std::uint32_t> names_; ///< Where each begins.
};

} // namespace Core::KELP
