#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <elf.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <optional>

namespace Validator {

namespace {

// The devices' own order, the only one that they run.
static_assert(std::endian::native == std::endian::little);

/// The bytes of program headers that every kernel reads: new ones take 64 KiB, older ones a page.
constexpr std::size_t largestTable = 0x1000;
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
    ProgramHeaders headers{bits,           header.e_type,  header.e_machine,
                           header.e_flags, header.e_entry, header.e_phoff};
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

/// The kernel refuses such a program without a version of its interface, or with an entry at an impossible
/// address.
bool isArmProgram(const ProgramHeaders &headers) {
    const bool isThumb = (headers.entry & 1) != 0;
    return (headers.flags & EF_ARM_EABIMASK) != 0 && (isThumb || headers.entry % 4 == 0);
}

template<class Head>
std::optional<Head> takeHead(std::string_view &bytes) {
    if (bytes.size() < sizeof(Head))
        return std::nullopt;
    Head head;
    std::memcpy(&head, bytes.data(), sizeof head);
    bytes.remove_prefix(sizeof head);
    return head;
}

struct Property {
    std::uint32_t type;
    std::uint32_t size;
};

/// Whether the properties are sorted, unique and of the right size.
bool areSoundProperties(std::string_view bytes) {
    constexpr std::uint64_t alignment = 8;
    for (std::uint64_t least = 0; !bytes.empty();) {
        const auto property = takeHead<Property>(bytes);
        if (!property || property->type < least || property->size > bytes.size())
            return false;
        const std::uint64_t step = (property->size + alignment - 1) / alignment * alignment;
        if (step > bytes.size() ||
            (property->type == GNU_PROPERTY_AARCH64_FEATURE_1_AND && property->size != sizeof(std::uint32_t)))
            return false;
        least = std::uint64_t(property->type) + 1;
        bytes.remove_prefix(step);
    }
    return true;
}

/// Whether the kernel accepts a note that it reads in 64-bit ARM programs without a loader.
bool isSoundPropertyNote(std::string_view file, const ElfSegment &segment) {
    constexpr std::size_t largest = 0x400;
    constexpr std::string_view owner("GNU", 4);
    if (segment.fileSize > largest || !liesIn(file, segment.offset, segment.fileSize))
        return false;
    std::string_view note = file.substr(segment.offset, segment.fileSize);
    const auto head = takeHead<Elf64_Nhdr>(note);
    if (!head || head->n_type != NT_GNU_PROPERTY_TYPE_0 || head->n_namesz != owner.size() ||
        !note.starts_with(owner) || head->n_descsz > note.size() - owner.size())
        return false;
    return areSoundProperties(note.substr(owner.size(), head->n_descsz));
}

/// The kernel's rules for programs of one machine.
bool isSoundForMachine(std::string_view file, const ProgramHeaders &headers) {
    const auto has = [&](std::uint32_t type) {
        return std::ranges::find(headers.segments, type, &ElfSegment::type) != headers.segments.end();
    };
    if (headers.machine == EM_ARM)
        return isArmProgram(headers);
    return headers.machine != EM_AARCH64 || has(PT_INTERP) ||
           std::ranges::all_of(headers.segments, [&](const ElfSegment &s) {
               return s.type != PT_GNU_PROPERTY || isSoundPropertyNote(file, s);
           });
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
           isSoundForMachine(file, headers) &&
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
