#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The severity of a finding.
enum class LogLevel : std::uint32_t {
    Warning = 0,  ///< Printed only.
    Error = 1,    ///< Fails the stage while validation is enabled.
    Critical = 2, ///< Fails the stage.
    Info = 3,     ///< Printed only.
};

/// The subject of a finding, beside the package.
enum class Subject : std::uint32_t {
    InHand, ///< The file that is being judged, if any.
    File,   ///< The file that string 0 names.
};

/// One entry of a message catalogue. "{0}", "{1}" and "{2}" in the text stand for the strings of the finding.
struct CatalogueEntry {
    LogLevel level;
    std::string_view id; ///< Never changes: makers write it into their build files.
    std::string_view text;
    Subject subject = Subject::InHand;
};

using Catalogue = std::span<const CatalogueEntry>;

/// One finding. Two are equal if level and text are.
struct Message {
    LogLevel level;
    std::string text;
    CatalogueEntry entry = {level, "internal", "[validator] Error while construct message"};
    std::vector<std::string> strings = {};
    std::string path = {}; ///< Of the file that it concerns, as the package names it; may be empty.

    bool operator==(const Message &other) const { return level == other.level && text == other.text; }
};

/// The text of an entry with the strings in their places. Throws std::out_of_range when a string is missing.
std::string composeText(std::string_view text, const std::vector<std::string> &strings);

/// The message of one entry with the strings in their places. Throws std::out_of_range when the catalogue has
/// no such entry, and as composeText() does.
Message composeMessage(Catalogue catalogue, std::size_t key, const std::vector<std::string> &strings);

} // namespace Validator
