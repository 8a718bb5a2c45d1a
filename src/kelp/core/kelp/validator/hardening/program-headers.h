#pragma once

#include "kelp/core/kelp/validator/program/i-elf-reader.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace Validator {

/// One program header of an ELF file, of either word size.
struct ElfSegment {
    std::uint32_t type = 0;
    std::uint32_t flags = 0;
    std::uint64_t offset = 0;
    std::uint64_t address = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t memorySize = 0;
};

/// The parts of an ELF file that kernel and loader read, without its sections.
struct ProgramHeaders {
    ElfClass bits = ElfClass::Unknown;
    std::uint16_t type = 0;
    std::uint16_t machine = 0;
    std::uint32_t flags = 0;
    std::uint64_t entry = 0; ///< The address where the program begins.
    std::uint64_t place = 0; ///< The table's offset in the file.
    /// Empty also for a table outside of the file, or with entries of the wrong size: neither kernel nor
    /// loader accepts those.
    std::vector<ElfSegment> segments = {};
};

/// Whether a file begins as ELF files do; the rest may be anything.
bool beginsAsElf(std::string_view file);

/// The headers of a file that begins as ELF, by the file's own word size. Without segments unless the words
/// are little-endian and of 32 or 64 bits.
ProgramHeaders readProgramHeaders(std::string_view file);

/// The same for this word size, since the kernel goes by the machine and not by the file's word size.
ProgramHeaders readProgramHeaders(std::string_view file, ElfClass bits);

/// Whether the kernel would run the file as a program of the machine that it names. If not, execvp(3) runs an
/// executable file as a script.
bool isRunnable(std::string_view file, const ProgramHeaders &headers);

/// The loaders that the file names, as the kernel would open them.
std::vector<std::string_view> interpretersOf(std::string_view file, const ProgramHeaders &headers);

} // namespace Validator
