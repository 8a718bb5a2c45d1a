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

/// One finding as it is reported.
struct Message {
    LogLevel level;
    std::string text;

    bool operator==(const Message &) const = default;
};

/// One entry of a message catalogue. "{0}", "{1}" and "{2}" in the text stand for the strings of the finding.
struct CatalogueEntry {
    LogLevel level;
    std::string_view text;
};

/// The message of one entry with the strings in their places. Throws std::out_of_range when the catalogue has
/// no such entry, or its text needs a string that is not there.
Message composeMessage(std::span<const CatalogueEntry> catalogue, std::size_t key,
                       const std::vector<std::string> &strings);

} // namespace Validator
