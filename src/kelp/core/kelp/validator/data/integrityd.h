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

/// The files that a configuration of the integrity daemon watches: the elements of the array "watch" of its
/// JSON object, in order, each without one prefix "file:" or "elf:". An element that is no text becomes an
/// empty string, which is no path.
///
/// json-glib decides what JSON is: it also accepts single quotes and comments, and uses the first of several
/// values. Returns nothing for a file that is not a JSON object, that has a "watch" other than an array, that
/// is larger than four megabytes, or that has more than two hundred thousand values or more than
/// splitJsonRoots() accepts. An object without "watch" gives an empty list. Raises as MappedFile::open()
/// does.
std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path);

/// Cuts a text into the values at its top level, as json-glib's scanner sees it. Comments and a "var x ="
/// stay with their value. Strings in single quotes know no escapes, and comments stand between "/*" and "*/"
/// or between two "/". The pieces need not be JSON that json-glib accepts.
///
/// Returns nothing for a text that nests deeper than 512 levels or has more than a thousand pieces. json-glib
/// recurses for each level without a bound, and leaks all values but the first.
std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text);

} // namespace Validator
