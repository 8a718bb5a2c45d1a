#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// Checks that the package's configuration of the integrity daemon watches nothing but what the package
/// ships.
class Integrityd final : public ValidatorBase<IValidator> {
public:
    Integrityd(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// A file that readWatchedFiles() cannot read is reported as invalid JSON.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for the file in the daemon's directory that bears the package's name.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    void finish() override {}
};

/// The files that a configuration of the integrity daemon watches. They are the elements of the array "watch"
/// of its JSON object, in order. One prefix "file:" or "elf:" of an element is left out. An element that is
/// no string becomes an empty path, which no package has.
///
/// json-glib decides what JSON is: it also accepts single quotes and comments, and uses the first of several
/// values. Returns nothing for a file that is not regular, that json-glib does not accept, whose value is no
/// object, or whose "watch" is no array. Returns nothing for a file that would cost too much: larger than
/// four megabytes, with more than two hundred thousand commas and opening brackets, or beyond the bounds of
/// splitJsonRoots(). An object without "watch" gives an empty list. Raises as MappedFile::open() does.
std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path);

/// Cuts a text into the values at its top level, so that each can be parsed alone. A piece ends with the
/// bracket that closes an object or array, and the blanks and ";" that follow. Comments and a "var x ="
/// belong to the piece after them. The pieces need not be JSON that json-glib accepts. Strings and comments
/// are those of json-glib's scanner: a string in single quotes has no escapes, and a comment stands between
/// "/*" and "*/" or between two "/". So "//" is an empty comment, and does not hide the rest of its line.
///
/// Returns nothing for a text that nests deeper than 512 levels or has more than a thousand pieces. json-glib
/// recurses for each level without a bound, and leaks all values but the first.
std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text);

} // namespace Validator
