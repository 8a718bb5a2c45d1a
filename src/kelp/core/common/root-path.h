#pragma once

#include <filesystem>

namespace Common {

/// The root prefix: the text of the environment variable KELP_ROOT_FS, even if empty, or "/" when it is not
/// set. Every location on disk is this prefix joined with a relative path, so that a whole image can be
/// served. The environment is read at each call.
std::filesystem::path rootPath();

/// `path` below the root prefix, whether `path` is absolute or relative: with the prefix "/mnt/x", "/etc/a"
/// and "etc/a" both give "/mnt/x/etc/a". Nothing is canonicalised.
std::filesystem::path belowRoot(const std::filesystem::path &path);

} // namespace Common
