#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings that the platform's rules miss. The words after each name its arguments.
enum class HardeningRule : std::uint32_t {
    HalfExecutable = 0,      ///< path
    SecondDesktopFile = 1,   ///< path, the one file that may lie there
    SecondIntegrityFile = 2, ///< path, the one file that may lie there
    TooManyDirectories = 3,  ///< path
    ForbiddenMimeType = 4,   ///< MIME type
    OtherScripts = 5,
    DisguisedDependency = 6,         ///< dependency
    DependencyWithSlash = 7,         ///< dependency
    FileCapabilities = 8,            ///< path, capabilities
    TolerableFileCapabilities = 9,   ///< path, capabilities
    DirectoryNotRoots = 10,          ///< path, owners
    OwnDirectoryNotRoots = 11,       ///< path, owners
    DirectorySpecialBits = 12,       ///< path
    FileInPlaceOfDirectory = 13,     ///< path
    VersionUnusable = 14,            ///< version and release
    VersionLong = 15,                ///< version and release
    NameOfAnotherApplication = 16,   ///< path
    NotAProgram = 17,                ///< path
    ForeignLoader = 18,              ///< path, loader
    HiddenDynamic = 19,              ///< path, library or reason
    LoaderHook = 20,                 ///< path, entry
    ForeignMachine = 21,             ///< path
    Auxiliary = 22,                  ///< path, library
    LibraryNotAllowedElsewhere = 23, ///< path, library
    LibraryByPath = 24,              ///< path, library
    ShippedNoLibrary = 25,           ///< path
    RpathLeaves = 26,                ///< path, piece
    RpathTwice = 27,                 ///< path
    DesktopBytes = 28,               ///< path, character or key
    DesktopDirection = 29,           ///< path, key
    IntegrityFileAmbiguous = 30,     ///< path
};

/// Throws as composeMessage() does.
Message messageOf(HardeningRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogue above.
void appendHardeningFindings(std::vector<CatalogueEntry> &all);

/// Appends the architectures and loaders of the system, and another name of a MIME type that the lists have.
void appendHardeningRules(Rules &rules); // machines.cpp
/// Appends the places to which the rpath of any file may lead without a warning.
void appendSearchRules(Rules &rules); // elf-hardening.cpp

} // namespace Validator
