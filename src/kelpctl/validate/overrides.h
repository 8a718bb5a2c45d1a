#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// One line of a file of overrides: a finding that the maker of a package knows and accepts.
struct Override {
    std::size_t line = 0; ///< Its number in the file, from one.
    std::string id;
    std::string pattern; ///< Of the path of the finding, as fnmatch(3) reads it; "*" takes a slash too.
    std::string reason;
};

/// Reads a file that has a line "ID PATTERN REASON" for each override, with blanks or tabs between. Skips
/// empty lines, and those whose first word begins with "#". Raises std::runtime_error for a missing file, and
/// Common::Error with ErrorCode::Filesystem for one that cannot be read or is longer than a megabyte. Raises
/// std::runtime_error with the number of the line for a missing pattern or reason. Does the same for an id
/// that is not of a warning or note: other findings refuse a package, and must not look overridden.
std::vector<Override> readOverrides(const std::filesystem::path &file);

/// The first override that matches the finding, or null.
const Override *findOverride(const std::vector<Override> &overrides, const Validator::Message &finding);

/// Prints the unused overrides on standard error: their findings are mended, or were never there.
void tellUnused(const std::vector<Override> &overrides, const std::set<std::size_t> &usedLines,
                const std::string &file);

/// Why findings of an id can be neither hidden nor overridden; empty when they can.
std::string objectionToSilence(const std::string &id);

} // namespace KelpCtl
