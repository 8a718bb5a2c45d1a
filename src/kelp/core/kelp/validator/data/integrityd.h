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

/// The files that an integrity daemon configuration watches: the elements of the array "watch" of its JSON
/// object, in order, without their prefix "file:" or "elf:". An element other than a text becomes an empty
/// string, which is no path.
///
/// json-glib decides what JSON is: it also reads single quotes and comments, and takes the first value of
/// several. Nothing for a file that is no JSON or no object, for one larger than four megabytes, with more
/// than two hundred thousand values or more than splitJsonRoots() takes, and for a "watch" that is no array.
/// An object without "watch" watches nothing. Raises as MappedFile::open() does.
std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path);

/// Cuts a text into the values at its top level, comments and a "var x =" with them, as json-glib's scanner
/// sees it: strings in single quotes know no escapes, and comments stand between "/*" and "*/" or "/" and
/// "/". Says nothing about whether json-glib takes the pieces.
///
/// Empty for a text that nests deeper than 512 levels or has more than a thousand pieces: json-glib recurses
/// for each level without end, and loses the memory of all roots but the first of a text.
std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text);

} // namespace Validator
