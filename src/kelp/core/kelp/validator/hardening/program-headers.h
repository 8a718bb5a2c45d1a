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

/// What kernel and loader read of an ELF file, which is nothing of its sections.
struct ProgramHeaders {
    ElfClass bits = ElfClass::Unknown;
    std::uint16_t type = 0;
    std::uint16_t machine = 0;
    std::uint32_t flags = 0;
    std::uint64_t entry = 0; ///< The address where the program begins.
    std::uint64_t place = 0; ///< Of the table in the file.
    /// Empty also for a table that is not in the file, or has entries of another size than the word size
    /// asks for: neither kernel nor loader takes such a file.
    std::vector<ElfSegment> segments = {};
};

/// Whether a file begins as ELF files do; the rest may be anything.
bool beginsAsElf(std::string_view file);

/// The headers of a file that begins as ELF, as the file says that its words are; without segments for one
/// that is not of little-endian words of 32 or 64 bits.
ProgramHeaders readProgramHeaders(std::string_view file);

/// The same for words of this size, whatever the file says: the kernel goes by the machine alone.
ProgramHeaders readProgramHeaders(std::string_view file, ElfClass bits);

/// Whether the kernel would take the file for a program of the machine that it names. What it does not take
/// and can be executed, callers of execvp(3) have run as a script.
bool isRunnable(std::string_view file, const ProgramHeaders &headers);

/// The programs that the file wants to be loaded by, as the kernel would open them.
std::vector<std::string_view> interpretersOf(std::string_view file, const ProgramHeaders &headers);

} // namespace Validator
