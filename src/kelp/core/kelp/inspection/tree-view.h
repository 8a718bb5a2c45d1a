#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_set>

struct dirent;

namespace Core::KELP {

/// What lay below a directory at one look, which asks once for each file: a store has ten thousands of them.
class TreeView {
public:
    /// Links are not followed, but those on the way to the directory. One that is not there holds nothing.
    /// Raises ErrorCode::Filesystem "Couldn't read directory: PATH" or "Couldn't look at PATH".
    explicit TreeView(const std::filesystem::path &directory);

    /// What the regular files hold, in bytes.
    std::uintmax_t bytes() const { return bytes_; }

    /// Whether anything but a directory lies at a path, by its text: it begins with that of the directory,
    /// and no link is on its way below that.
    bool holds(std::string_view path) const { return paths_.contains(std::string(path)); }

private:
    void look(int parent, const std::string &name, int flags, const std::string &path);
    void count(int directory, const dirent &entry, const std::string &path);

    std::uintmax_t bytes_ = 0;
    std::unordered_set<std::string> paths_;
};

} // namespace Core::KELP
