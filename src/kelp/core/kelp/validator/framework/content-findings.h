#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on a package as a whole, its unpacking and the places of its files. "path" says what argument
/// 0 is.
enum class ContentRule : std::uint32_t {
    ForbiddenLocation = 0, ///< path
    QmlOnlyNotNoarch = 1,
    DebugFiles = 2,
    OwnsBinDirectory = 3,
    HardcodedPath = 4,          ///< path
    LinkToNothing = 5,          ///< path
    LinkToTooMuch = 6,          ///< path
    LinkInsteadOfDirectory = 7, ///< path
    ImpossiblePath = 8,         ///< path
    PlaceTaken = 9,             ///< path
    NameUnusable = 10,
    DigestWrong = 11,
    HeaderDigestWrong = 12,
};

/// Throws as composeMessage() does.
Message messageOf(ContentRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendContentFindings(std::vector<CatalogueEntry> &all);

} // namespace Validator
