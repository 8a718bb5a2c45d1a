#include "kelp/core/kelp/validator/hardening/address-space.h"

#include <elf.h>

#include <algorithm>
#include <limits>

namespace Validator {

namespace {

constexpr std::uint64_t pageSize = 0x1000;
constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();

/// The sum, or the highest address if it does not fit.
std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
    return a > highest - b ? highest : a + b;
}

std::uint64_t pageOf(std::uint64_t address) {
    return address & ~(pageSize - 1);
}

std::uint64_t behindPageOf(std::uint64_t address) {
    return pageOf(sum(address, pageSize - 1));
}

std::uint64_t endOf(const ElfSegment &segment) {
    return sum(segment.address, std::max(segment.fileSize, segment.memorySize));
}

/// Where a segment begins or ends.
struct Edge {
    std::uint64_t address;
    const ElfSegment *segment;
    bool isBegin;
};

std::vector<Edge> edgesOf(const std::vector<ElfSegment> &segments) {
    std::vector<Edge> edges;
    for (const ElfSegment &segment : segments) {
        edges.push_back({pageOf(segment.address), &segment, true});
        edges.push_back({behindPageOf(endOf(segment)), &segment, false});
    }
    std::ranges::sort(edges, {}, &Edge::address);
    return edges;
}

} // namespace

AddressSpace::AddressSpace(const MappedFile &file, const ProgramHeaders &headers) :
    file_(file), addressMask_(headers.bits == ElfClass::Bits32 ? 0xffffffffU : highest) {
    std::ranges::copy_if(headers.segments, std::back_inserter(segments_), [](const ElfSegment &segment) {
        return segment.type == PT_LOAD && (segment.fileSize > 0 || segment.memorySize > 0);
    });
    // The segments at the walk's present address; if it is one, the sum of their places is its own.
    std::size_t open = 0;
    std::size_t places = 0;
    std::uint64_t begin = 0;
    for (const Edge &edge : edgesOf(segments_)) {
        if (open > 0 && begin < edge.address)
            pieces_.push_back({begin, edge.address, open == 1 ? &segments_[places] : nullptr});
        const auto place = static_cast<std::size_t>(edge.segment - segments_.data());
        open = edge.isBegin ? open + 1 : open - 1;
        places = edge.isBegin ? places + place : places - place;
        begin = edge.address;
    }
}

bool AddressSpace::read(std::uint64_t address, char *bytes, std::size_t size) const {
    while (size > 0) {
        const auto run = at(address);
        if (!run)
            return false;
        const bool isFile = !run->bytes.empty();
        const std::uint64_t known = isFile ? run->bytes.size() : run->zeros;
        const std::size_t part = std::min<std::uint64_t>(size, known);
        if (isFile)
            std::copy_n(run->bytes.data(), part, bytes);
        else
            std::fill_n(bytes, part, '\0');
        file_.passed(part);
        address += part;
        bytes += part;
        size -= part;
    }
    return true;
}

std::optional<std::string> AddressSpace::readText(std::uint64_t address, std::size_t longest) const {
    std::string text;
    while (text.size() < longest) {
        const auto run = at(address + text.size());
        if (!run)
            return std::nullopt;
        const std::string_view bytes = run->bytes.substr(0, longest - text.size());
        const std::size_t end = std::min(bytes.find('\0'), bytes.size());
        text += bytes.substr(0, end);
        file_.passed(end);
        if (end < bytes.size() || bytes.empty())
            return text;
    }
    return text;
}

std::optional<AddressSpace::Run> AddressSpace::at(std::uint64_t address) const {
    address &= addressMask_;
    const auto piece = std::ranges::upper_bound(pieces_, address, {}, &Piece::end);
    if (piece == pieces_.end() || address < piece->begin || piece->segment == nullptr)
        return std::nullopt;
    return inSegment(*piece->segment, address, piece->end - address);
}

std::optional<AddressSpace::Run> AddressSpace::inSegment(const ElfSegment &segment, std::uint64_t address,
                                                         std::uint64_t most) const {
    const std::uint64_t fileEnd = sum(segment.address, segment.fileSize);
    const std::uint64_t memoryEnd = sum(segment.address, segment.memorySize);
    if (address < fileEnd && segment.fileSize > 0) {
        // Also before the segment in its first page, where the mapping begins.
        const std::uint64_t offset = segment.offset + (address - segment.address);
        const std::uint64_t size = std::min(fileEnd - address, most);
        // Zeros up to the end of the file's last page. Beyond it the loader would crash, and loads nothing:
        // debug files have such headers.
        const std::string_view bytes = file_.bytes();
        return offset < bytes.size() ? Run{bytes.substr(offset, size)} : Run{{}, size};
    }
    // The rest of the last page comes from the file, and stays so in a read-only segment. A segment without
    // bytes that begins within a page has such a page too.
    const bool isFileTail = address < behindPageOf(fileEnd);
    if (address < segment.address || address >= memoryEnd || (isFileTail && (segment.flags & PF_W) == 0))
        return std::nullopt;
    return Run{{}, std::min(memoryEnd - address, most)};
}

} // namespace Validator
