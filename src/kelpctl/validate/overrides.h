#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// One line of a file of overrides: a finding that the maker of a package knows of and means to keep.
struct Override {
    std::size_t line = 0; ///< Its number in the file, from one.
    std::string id;
    std::string pattern; ///< Of the path of the finding, as fnmatch(3) reads it; "*" takes a slash too.
    std::string reason;
};

/// Reads a file with a line "ID PATTERN REASON" for each override, with blanks or tabs between; empty lines
/// and those that begin with "#" count as nothing. Raises std::runtime_error for a file that cannot be read,
/// and one that names the line for an id that is no warning or note, or a line that lacks pattern or reason:
/// what refuses a package must not look overridden.
std::vector<Override> readOverrides(const std::filesystem::path &file);

/// The first of them that is about the finding, or null.
const Override *findOverride(const std::vector<Override> &overrides, const Validator::Message &finding);

/// Tells on standard error which overrides are not among the used lines: what they were for is mended.
void tellUnused(const std::vector<Override> &overrides, const std::set<std::size_t> &usedLines,
                const std::string &file);

/// Why findings of an id can be neither hidden nor overridden; empty when they can.
std::string objectionToSilence(const std::string &id);

} // namespace KelpCtl
