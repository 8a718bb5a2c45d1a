#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The files that an integrity daemon configuration watches: the elements of the array "watch" of its JSON
/// object, in order, without their prefix "file:" or "elf:". An element that is no text stands as an empty
/// string, which is no path.
///
/// What JSON is, json-glib decides, which reads single quotes and comments too, and takes the first value of
/// a file that holds several. Nothing when the file is no JSON, is larger than four megabytes, has more
/// than two hundred thousand values or more than splitJsonRoots() bears, when its root is no object, or when
/// "watch" is there and is no array. An object without "watch" watches nothing. Raises as MappedFile::open()
/// does.
std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path);

/// Cuts a text into the values at its top level, comments and a "var x =" with them, as json-glib's scanner
/// sees it: strings in single quotes know no escapes, and comments stand between "/*" and "*/" or "/" and
/// "/". Says nothing about whether json-glib takes the pieces.
///
/// Empty for a text that nests deeper than 512 levels or has more than a thousand pieces: json-glib recurses
/// for each level without end, and loses the memory of all roots but the first of a text.
std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text);

} // namespace Validator
