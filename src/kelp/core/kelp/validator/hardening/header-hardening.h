#pragma once

#include "kelp/core/kelp/validator/header/header-checks.h"

#include <string_view>

namespace Validator {

/// Checks a header for faults that the header's other rules miss. Runs after those rules and repeats none of
/// their findings. Reports ContentRule::ImpossiblePath for a path or a link's text that is no UTF-8 or has
/// control characters; the unpacking reports it for other faults of a path. Takes n log n time for a package
/// of n files.
void checkHeaderHardening(const HeaderCheck &check);

/// Whether a package has so many unlisted directories that they must be its purpose.
bool hasTooManyDirectories(const RpmMeta &meta);

/// Whether VERSION-RELEASE can name a directory of the store that cannot be mistaken for another, or for a
/// path.
bool isUsableVersion(std::string_view text);

class Config;

/// Another name of the MIME type of packages.
constexpr std::string_view olderNameOfRpm = "application/x-redhat-package-manager";

/// Whether no package may handle a MIME type. Blanks around it and the case of its letters do not count: the
/// look-up of handlers ignores them. The older name of packages counts like their own.
bool isForbiddenMimeType(const Config &config, std::string_view type);

} // namespace Validator
