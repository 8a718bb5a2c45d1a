#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings on ELF files. "path" and "library" say what argument 0 is.
enum class ExecutableRule : std::uint32_t {
    NoLibcStartMain = 0,
    MainNotExported = 1,
    MainMustBeExported = 2,
    RpathEmpty = 3,
    RpathNotAllowed = 4,
    RpathMissing = 5,
    MainBinaryForbidden = 6,
    MainBinaryMissing = 7,
    NoExecutableInLibexec = 8, ///< path; raised where a package may hold ELF files alone
    ArchitectureSpecific = 9,
    WrongFormat = 10,   ///< path
    WrongLocation = 11, ///< path
    MainBinaryNotExecutable = 12,
    UnstableLibrary = 13,  ///< library
    ForbiddenLibrary = 14, ///< library
};

/// Throws as composeMessage() does.
Message messageOf(ExecutableRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendProgramFindings(std::vector<CatalogueEntry> &all);

} // namespace Validator
