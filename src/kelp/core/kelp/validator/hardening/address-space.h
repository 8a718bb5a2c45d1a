#pragma once

#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The memory of a program as the load segments of its file make it, by whole pages of 4 KiB. What depends on
/// which segment is mapped last, on the size of the host's pages, or on what stands after a segment in the
/// file, cannot be told.
///
/// The file must outlive the object. Asking takes logarithmic time in the number of segments.
class AddressSpace {
public:
    AddressSpace(const MappedFile &file, const ProgramHeaders &headers);
    AddressSpace(const AddressSpace &) = delete;
    AddressSpace &operator=(const AddressSpace &) = delete;

    /// Fills `size` bytes from an address on. False when one of them cannot be told.
    bool read(std::uint64_t address, char *bytes, std::size_t size) const;

    /// The text at an address up to its NUL, or its first `longest` bytes. Empty when one of them cannot be
    /// told.
    std::optional<std::string> readText(std::uint64_t address, std::size_t longest) const;

private:
    /// A part of memory with the one segment that it comes from.
    struct Piece {
        std::uint64_t begin;
        std::uint64_t end;
        const ElfSegment *segment; ///< Null where there are several.
    };
    /// What is known from an address on: bytes of the file, or zeros.
    struct Run {
        std::string_view bytes;
        std::uint64_t zeros = 0;
    };

    std::optional<Run> at(std::uint64_t address) const;
    std::optional<Run> inSegment(const ElfSegment &segment, std::uint64_t address, std::uint64_t most) const;

    const MappedFile &file_;
    std::uint64_t addressMask_;
    std::vector<ElfSegment> segments_;
    std::vector<Piece> pieces_;
};

} // namespace Validator
