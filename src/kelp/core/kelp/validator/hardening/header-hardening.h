#pragma once

#include "kelp/core/kelp/validator/header/header-checks.h"

namespace Validator {

/// What the rules on a package's header let by and no honest package has. Reports after their findings, and
/// repeats none of them but ContentRule::ImpossiblePath, which the unpacking raises for other reasons.
/// Takes n log n time for a package of n files.
void checkHeaderHardening(const HeaderCheck &check);

// Its parts.

/// The dependencies, the MIME types and the version (word-checks.cpp).
void checkWords(const HeaderCheck &check);
/// The file list (place-checks.cpp).
void checkPlaces(const HeaderCheck &check);

/// Whether the directories that nobody lists are so many that they alone are what the package brings.
bool hasTooManyDirectories(const RpmMeta &meta);

/// Whether VERSION-RELEASE can name a directory of the store that nobody mistakes for another, or for a path.
bool isUsableVersion(std::string_view text);

} // namespace Validator
