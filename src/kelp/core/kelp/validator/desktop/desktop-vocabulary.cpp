#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

#include "platform/app-manifest/manifest-entry.h"

namespace Validator {

const std::array<std::string, 3> sandboxSections = {"X-Application", "X-Fencebox", "Fencebox"};

/// As ManifestEntry chooses it for names and permissions: to judge another one than it reads would let
/// through what nobody has looked at.
const std::string *sandboxSectionOf(const AppManifest::ManifestEntry &entry) {
    const std::string *inUse = nullptr;
    for (const std::string &section : sandboxSections) {
        if (entry.containsGroup(section))
            inUse = &section;
    }
    return inUse;
}

} // namespace Validator
