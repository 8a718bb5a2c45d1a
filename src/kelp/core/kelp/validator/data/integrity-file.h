#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Validator {

/// The files that an integrity daemon configuration watches: the elements of the array "watch" of its JSON
/// object, in order, without their prefix "file:" or "elf:". An element that is no text stands as an empty
/// string, which is no path.
///
/// Nothing when the file cannot be read, is no JSON, is larger than four megabytes or nests deeper than 512
/// levels, when its root is no object, or when "watch" is there and is no array. An object without "watch"
/// watches nothing.
std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path);

} // namespace Validator
