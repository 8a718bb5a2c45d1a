#pragma once

#include <cstdint>
#include <string>

namespace KelpCtl {

enum class FileKind : std::uint32_t {
    Other, ///< Perhaps a package; whoever reads it as one says.
    SourcePackage,
    DebianPackage,
    SpecFile
};

/// What a file is that somebody may take for a package. Reads its first bytes; what is no regular file, or
/// cannot be read, is Other.
FileKind kindOf(const std::string &file);

/// What it is and what to do with it, for people; empty for Other.
std::string adviceOn(FileKind kind);

} // namespace KelpCtl
