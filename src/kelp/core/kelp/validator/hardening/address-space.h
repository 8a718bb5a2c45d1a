#pragma once

#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The memory that a program would have, by the load segments of its file, in whole pages of 4 KiB. A byte
/// outside of all segments is unknown, unless a page gets it from the file before a segment's beginning. A
/// byte on a page that several segments share is unknown too, since their order would decide. Also unknown
/// are bytes that depend on the host's page size, and those that a page gets from the file after a segment's
/// end.
///
/// The file must outlive the object. A look-up takes logarithmic time in the number of segments.
class AddressSpace {
public:
    AddressSpace(const MappedFile &file, const ProgramHeaders &headers);
    AddressSpace(const AddressSpace &) = delete;
    AddressSpace &operator=(const AddressSpace &) = delete;

    /// Fills `size` bytes from an address on. False when one of them is unknown.
    bool read(std::uint64_t address, char *bytes, std::size_t size) const;

    /// The text at an address up to its NUL, or its first `longest` bytes. Empty when one of them is unknown.
    std::optional<std::string> readText(std::uint64_t address, std::size_t longest) const;

private:
    /// A part of memory with its one segment.
    struct Piece {
        std::uint64_t begin;
        std::uint64_t end;
        const ElfSegment *segment; ///< Null if there are several.
    };
    /// The known bytes from an address on: of the file, or zeros.
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
