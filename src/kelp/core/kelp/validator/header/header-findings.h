#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The findings on a package's header. The words after each name its arguments.
enum class PathRule : std::uint32_t {
    NotReverseDomain = 0,
    UnstableDependency = 1,  ///< dependency
    ForbiddenDependency = 2, ///< dependency
    ForbiddenProvides = 3,   ///< capability
    MissingProvides = 4,     ///< capability
    ForbiddenConflicts = 5,  ///< capability
    MissingConflicts = 6,    ///< capability
    ForbiddenObsoletes = 7,  ///< capability
    DiscouragedVendor = 8,   ///< vendor
    ForbiddenVendor = 9,     ///< vendor
    HasScripts = 10,
    SpecialBits = 11,         ///< path
    NotExecutableHere = 12,   ///< path
    Writable = 13,            ///< path, "file" or "directory"
    TolerablyWritable = 14,   ///< path, "file" or "directory"
    UserNotRoot = 15,         ///< path
    GroupNotRoot = 16,        ///< path
    SymbolicLink = 17,        ///< path
    ForbiddenLinkTarget = 18, ///< path, target
    UnknownKind = 19,         ///< path
    ForbiddenEnding = 20,     ///< path
    EmptyDirectory = 21,      ///< path
};

/// Throws as composeMessage() does.
Message messageOf(PathRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendHeaderFindings(std::vector<CatalogueEntry> &all);

class Config;

/// A vendor that is tolerated in existing packages: the signature tells the maker.
constexpr std::string_view discouragedVendor = "ondine";

/// Appends the rules on headers beyond the lists of the profile.
void appendHeaderRules(Rules &rules, const Config &config); // dependency-checks.cpp
void appendFileRules(Rules &rules);                         // file-checks.cpp

} // namespace Validator
