#pragma once

#include "kelp/core/kelp/validator/program/i-elf-reader.h"

#include <cstdint>
#include <string_view>

namespace Validator {

/// The machine of an ELF file.
struct ElfMachine {
    std::uint16_t machine = 0; ///< EM_AARCH64 and the like.
    ElfClass bits = ElfClass::Unknown;

    bool operator==(const ElfMachine &) const = default;
};

// By a table of our own: the judging machine may differ from the device.

/// The word size of a machine's programs; unknown for a machine without the platform.
ElfClass bitsOf(std::uint16_t machine);

/// Whether devices of a package's architecture run the file, by themselves or as the 32 bits beside their 64.
/// A package of no architecture, or of an unknown one, may be for any of them.
bool isOfArchitecture(const ElfMachine &machine, std::string_view architecture);

/// Whether a path is the loader of such programs.
bool isLoaderOf(const ElfMachine &machine, std::string_view path);

} // namespace Validator
