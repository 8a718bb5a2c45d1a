#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The finding on icons. Argument 0 is the path of the icon.
enum class IconRule : std::uint32_t {
    WrongOrMissing = 0,
};

Message messageOf(IconRule rule, const std::vector<std::string> &strings);

/// The findings on a manifest. "key" says that argument 0 is the key.
enum class ManifestRule : std::uint32_t {
    InvalidJson = 0,
    UnknownKey = 1, ///< key
    WrongType = 2,  ///< key
    VersionMissing = 3,
    VersionInvalid = 4,
    VersionIncompatible = 5,
    VersionIncomparable = 6,
    OsVersionUnknown = 7,
};

Message messageOf(ManifestRule rule, const std::vector<std::string> &strings);

/// The findings on the configuration of the integrity daemon.
enum class IntegritydRule : std::uint32_t {
    ContentMismatch = 0,
    InvalidJson = 1,
};

Message messageOf(IntegritydRule rule, const std::vector<std::string> &strings);

/// The finding on configuration parameter files. Argument 0 is the path of the file.
enum class ConfigurationParameterFileRule : std::uint32_t {
    Invalid = 0,
};

Message messageOf(ConfigurationParameterFileRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendDataFindings(std::vector<CatalogueEntry> &all);

/// Appends the keys that the manifest of a package may have.
void appendManifestRules(Rules &rules); // manifest.cpp
/// Appends what the configuration of the integrity daemon may watch.
void appendWatchRules(Rules &rules); // integrityd.cpp

} // namespace Validator
