#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <elf.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

namespace Validator {

namespace {

// The devices' own order, which is the only one that they run.
static_assert(std::endian::native == std::endian::little);

/// What the kernel reads of program headers.
constexpr std::size_t largestTable = 0x10000;
constexpr std::size_t shortestInterpreter = 2;

bool liesIn(std::string_view file, std::uint64_t offset, std::uint64_t size) {
    return offset <= file.size() && size <= file.size() - offset;
}

template<class Header, class Segment>
ProgramHeaders readAs(std::string_view file, ElfClass bits) {
    Header header;
    if (file.size() < sizeof header)
        return {bits};
    std::memcpy(&header, file.data(), sizeof header);
    ProgramHeaders headers{bits, header.e_type, header.e_machine};
    const std::size_t size = std::size_t(header.e_phnum) * sizeof(Segment);
    if (header.e_phentsize != sizeof(Segment) || !liesIn(file, header.e_phoff, size))
        return headers;
    for (std::string_view table = file.substr(header.e_phoff, size); !table.empty();
         table.remove_prefix(sizeof(Segment))) {
        Segment s;
        std::memcpy(&s, table.data(), sizeof s);
        headers.segments.push_back({s.p_type, s.p_flags, s.p_offset, s.p_vaddr, s.p_filesz, s.p_memsz});
    }
    return headers;
}

std::size_t tableSize(const ProgramHeaders &headers) {
    return headers.segments.size() *
           (headers.bits == ElfClass::Bits32 ? sizeof(Elf32_Phdr) : sizeof(Elf64_Phdr));
}

bool isLoaded(std::string_view file, const ElfSegment &segment) {
    return segment.type == PT_LOAD && segment.fileSize > 0 && liesIn(file, segment.offset, segment.fileSize);
}

bool isSoundInterpreter(std::string_view file, const ElfSegment &segment) {
    return segment.fileSize >= shortestInterpreter && segment.fileSize <= PATH_MAX &&
           liesIn(file, segment.offset, segment.fileSize) &&
           file[segment.offset + segment.fileSize - 1] == '\0';
}

} // namespace

bool beginsAsElf(std::string_view file) {
    return file.starts_with(ELFMAG);
}

ProgramHeaders readProgramHeaders(std::string_view file) {
    if (file.size() < EI_NIDENT || file[EI_DATA] != ELFDATA2LSB)
        return {};
    switch (file[EI_CLASS]) {
    case ELFCLASS32:
        return readProgramHeaders(file, ElfClass::Bits32);
    case ELFCLASS64:
        return readProgramHeaders(file, ElfClass::Bits64);
    default:
        return {};
    }
}

ProgramHeaders readProgramHeaders(std::string_view file, ElfClass bits) {
    return bits == ElfClass::Bits32 ? readAs<Elf32_Ehdr, Elf32_Phdr>(file, bits)
                                    : readAs<Elf64_Ehdr, Elf64_Phdr>(file, bits);
}

bool isRunnable(std::string_view file, const ProgramHeaders &headers) {
    const auto &segments = headers.segments;
    return (headers.type == ET_EXEC || headers.type == ET_DYN) && tableSize(headers) <= largestTable &&
           std::ranges::any_of(segments, [&](const ElfSegment &s) { return isLoaded(file, s); }) &&
           std::ranges::all_of(segments, [&](const ElfSegment &s) {
               return s.type != PT_INTERP || isSoundInterpreter(file, s);
           });
}

std::vector<std::string_view> interpretersOf(std::string_view file, const ProgramHeaders &headers) {
    std::vector<std::string_view> interpreters;
    for (const ElfSegment &segment : headers.segments) {
        if (segment.type != PT_INTERP || !isSoundInterpreter(file, segment))
            continue;
        const std::string_view text = file.substr(segment.offset, segment.fileSize);
        interpreters.push_back(text.substr(0, text.find('\0')));
    }
    return interpreters;
}

} // namespace Validator
