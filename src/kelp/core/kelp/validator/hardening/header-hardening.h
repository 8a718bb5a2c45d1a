#pragma once

#include "kelp/core/kelp/validator/header/header-checks.h"

namespace Validator {

/// Checks a header for what no honest package has and the header's own rules miss. It reports after these
/// rules, and repeats none of their findings except ContentRule::ImpossiblePath, which the unpacking raises
/// for other reasons. Takes n log n time for a package of n files.
void checkHeaderHardening(const HeaderCheck &check);

/// Whether a package has so many unlisted directories that they must be its purpose.
bool hasTooManyDirectories(const RpmMeta &meta);

/// Whether VERSION-RELEASE can name a directory of the store that cannot be mistaken for another, or for a
/// path.
bool isUsableVersion(std::string_view text);

} // namespace Validator
