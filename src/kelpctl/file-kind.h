#pragma once

#include <cstdint>
#include <string>

namespace KelpCtl {

enum class FileKind : std::uint32_t {
    Other, ///< Perhaps a package; reading it as one will tell.
    SourcePackage,
    DebianPackage,
    SpecFile
};

/// The kind of a file that was given as a package. Reads its first bytes. Anything but a readable regular
/// file is Other.
FileKind kindOf(const std::string &file);

/// Tells people what it is and what to do with it; empty for Other.
std::string adviceOn(FileKind kind);

} // namespace KelpCtl
