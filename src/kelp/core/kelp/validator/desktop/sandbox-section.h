#pragma once

#include <array>
#include <string>

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

/// The names of the sandbox section: today's, and two that older applications use.
extern const std::array<std::string, 3> sandboxSections;

/// The section in use: the last of sandboxSections that the file holds. Null when it holds none.
const std::string *sandboxSectionOf(const AppManifest::ManifestEntry &entry);

} // namespace Validator
