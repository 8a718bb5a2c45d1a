#pragma once

#include <cstdint>

namespace Validator {

/// Facts that the checkers of one stage leave for each other in the report; all are false at the start.
enum class ValidatorFlag : std::uint32_t {
    DesktopSeen = 0,          ///< The package has its desktop file.
    QmlOnlyApp = 1,           ///< The desktop file runs the application through the QML runner.
    VitrineApp = 2,           ///< The application type is "vitrine-qt5".
    NoSandboxSection = 3,     ///< The desktop file has no sandbox section.
    ElfSeen = 4,              ///< An ELF file of valid class and encoding was seen.
    MainBinaryExecutable = 5, ///< An executable ELF file lies on the main binary's path.
    MainBinarySeen = 6,
    ImportsVitrine = 7,      ///< The application imports "Halyard.Vitrine 1.0".
    LibcStartMainSeen = 8,   ///< A symbol "__libc_start_main".
    MainSymbolSeen = 9,      ///< A symbol "main".
    OtherSymbolSeen = 10,    ///< A symbol of any other name.
    ShippedLibraryUsed = 11, ///< A needed library was found inside the package.
    RpathPresent = 12,
    RpathAcceptable = 13,
};

} // namespace Validator
