#pragma once

#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Validator {

/// The byte order of an ELF file (elf(5), EI_DATA).
enum class ElfEncoding : std::uint32_t {
    LittleEndian = 0,
    BigEndian = 1,
    Unknown = 2,
};

/// The word size of an ELF file (elf(5), EI_CLASS).
enum class ElfClass : std::uint32_t {
    Bits32 = 0,
    Bits64 = 1,
    Unknown = 2,
};

/// An entry of the dynamic section. The view lives as long as the reader that gave it.
struct ElfDynamicSection {
    std::uint64_t tag = 0;  ///< DT_NEEDED and the like.
    std::string_view value; ///< The text of DT_NEEDED, DT_SONAME, DT_RPATH and DT_RUNPATH; else empty.
};

/// An entry of a symbol table. The view lives as long as the reader that gave it.
struct ElfSymbol {
    std::string_view name; ///< Empty if the file has no readable name.
};

/// The facts of an ELF file that the rules need.
class IElfReader {
public:
    virtual ~IElfReader() = default;

    /// Whether the platform runs its word size and byte order: a well-formed big-endian file is not valid.
    virtual bool isValid() const = 0;

    virtual ElfEncoding encoding() const = 0;

    /// The text of the first DT_RPATH that is not empty. DT_RUNPATH does not count.
    virtual const std::string &rpath() const = 0;

    /// Calls `visit` for every entry of every symbol table, static and dynamic, in the order of the file's
    /// sections, until it returns true.
    virtual void forEachSymbol(const std::function<bool(const ElfSymbol &)> &visit) const = 0;

    /// The same for the entries of the dynamic sections.
    virtual void forEachDynamicEntry(const std::function<bool(const ElfDynamicSection &)> &visit) const = 0;

    /// The raw bytes of the section ".rodata", also if compressed. Empty when there is none. The view lives
    /// as long as the reader.
    virtual std::string_view rodata() const = 0;

    /// A passage through the file's bytes, for reading that section.
    virtual Passage passage() const = 0;
};

} // namespace Validator
