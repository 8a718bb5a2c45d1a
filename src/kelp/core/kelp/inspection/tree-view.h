#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_set>

namespace Core::KELP {

/// The entries below a directory at one look. Each file is looked at once: a store has tens of thousands.
class TreeView {
public:
    /// Follows no link below the directory. A directory that does not exist holds nothing.
    /// Raises ErrorCode::Filesystem "Couldn't read directory: PATH" or "Couldn't look at PATH".
    explicit TreeView(const std::filesystem::path &directory);

    /// The bytes in the regular files.
    std::uintmax_t bytes() const { return bytes_; }

    /// Whether anything but a directory lies at a path, by its text. The path begins with the directory's,
    /// and no link is on the way below that.
    bool holds(std::string_view path) const { return paths_.contains(std::string(path)); }

private:
    void look(int parent, const std::string &name, int flags, const std::string &path);
    void count(int directory, const std::string &name, const std::string &path);

    std::uintmax_t bytes_ = 0;
    std::unordered_set<std::string> paths_;
};

} // namespace Core::KELP
