#include "kelp/core/kelp/validator/hardening/loader-table.h"

#include "kelp/core/kelp/validator/hardening/address-space.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <unordered_set>

namespace Validator {

namespace {

/// A longer name cannot be opened as a path.
constexpr std::size_t longestName = 0x1000;
constexpr std::size_t longestRpath = 0x10000;
constexpr std::size_t mostTexts = 0x10000;
/// Of a file's texts, which overlap only at their ends.
constexpr std::size_t mostCharacters = std::size_t(4) << 20;

struct Entry {
    std::uint64_t tag = 0;
    std::uint64_t value = 0;
};

/// One dynamic table, walked twice: once for the last string table, and once for the texts.
class TableReader {
public:
    TableReader(std::string_view file, const ProgramHeaders &headers, const AddressSpace &space,
                LoaderTable &table) :
        space_(space),
        is32_(headers.bits == ElfClass::Bits32),
        entriesLeft_(2 * file.size() / sizeof(Elf32_Dyn)),
        charactersLeft_(std::min(mostCharacters, file.size())),
        table_(table) {}

    void read(std::uint64_t address) {
        strings_ = 0;
        seen_.clear();
        walk(address, [this](const Entry &entry) {
            if (entry.tag == DT_STRTAB)
                strings_ = entry.value;
        });
        walk(address, [this](const Entry &entry) { take(entry); });
    }

private:
    template<class Visit>
    void walk(std::uint64_t address, const Visit &visit) {
        while (table_.isTold) {
            const Entry entry = is32_ ? entryAt<Elf32_Dyn>(address) : entryAt<Elf64_Dyn>(address);
            if (entry.tag == DT_NULL)
                return;
            // More entries than two walks can find in the file: segments repeat its bytes.
            table_.isTold = entriesLeft_-- > 0;
            visit(entry);
            address += is32_ ? sizeof(Elf32_Dyn) : sizeof(Elf64_Dyn);
        }
    }

    /// An end of the table, for unknown bytes.
    template<class Dynamic>
    Entry entryAt(std::uint64_t address) {
        char bytes[sizeof(Dynamic)];
        if (!space_.read(address, bytes, sizeof bytes)) {
            table_.isTold = false;
            return {DT_NULL};
        }
        Dynamic entry;
        std::memcpy(&entry, bytes, sizeof entry);
        return {static_cast<std::uint64_t>(entry.d_tag), entry.d_un.d_val};
    }

    void take(const Entry &entry) {
        switch (entry.tag) {
        case DT_NEEDED:
            if (seen_.insert(entry.value).second)
                takeText(entry, longestName, table_.needed);
            break;
        case DT_RPATH:
            return takeRpath(entry, table_.rpaths);
        case DT_RUNPATH:
            return takeRpath(entry, table_.runpaths);
        case DT_AUXILIARY:
            return takeText(entry, longestName, table_.filters);
        case DT_AUDIT:
        case DT_DEPAUDIT:
        case DT_FILTER:
            table_.hasHook = true;
            break;
        default:
            break;
        }
    }

    /// An rpath must have a readable end.
    void takeRpath(const Entry &entry, std::vector<std::string> &texts) {
        takeText(entry, longestRpath, texts);
        table_.isTold = table_.isTold && texts.back().size() < longestRpath;
    }

    void takeText(const Entry &entry, std::size_t longest, std::vector<std::string> &texts) {
        auto text = space_.readText(strings_ + entry.value, longest);
        table_.isTold = table_.isTold && text && ++texts_ <= mostTexts && text->size() <= charactersLeft_;
        if (!table_.isTold)
            return;
        charactersLeft_ -= text->size();
        texts.push_back(std::move(*text));
    }

    const AddressSpace &space_;
    bool is32_;
    std::size_t entriesLeft_;
    std::size_t charactersLeft_;
    LoaderTable &table_;
    std::uint64_t strings_ = 0;
    std::unordered_set<std::uint64_t> seen_; ///< Places of names of libraries.
    std::size_t texts_ = 0;
};

/// Several names may stand at several places.
void dropRepeated(std::vector<std::string> &texts) {
    std::unordered_set<std::string> seen;
    std::erase_if(texts, [&](const std::string &text) { return !seen.insert(text).second; });
}

/// The places of the headers in memory: as they say themselves, and as the kernel tells the loader. That goes
/// by the segment that holds them, or in older kernels by the first one.
std::set<std::uint64_t> placesOfHeaders(const ProgramHeaders &headers) {
    std::set<std::uint64_t> places;
    bool isFirst = true;
    for (const ElfSegment &segment : headers.segments) {
        const std::uint64_t distance = headers.place - segment.offset;
        if (segment.type == PT_PHDR)
            places.insert(segment.address);
        if (segment.type != PT_LOAD)
            continue;
        if (isFirst || distance < segment.fileSize)
            places.insert(segment.address + distance);
        isFirst = false;
    }
    return places;
}

/// Whether the loader finds the file's headers in memory. It computes all other places from the headers' own:
/// false ones would make it read another table.
bool findsHeaders(std::string_view file, const ProgramHeaders &headers, const AddressSpace &space) {
    const auto places = placesOfHeaders(headers);
    std::string found(headers.segments.size() *
                          (headers.bits == ElfClass::Bits32 ? sizeof(Elf32_Phdr) : sizeof(Elf64_Phdr)),
                      '\0');
    return places.size() == 1 && space.read(*places.begin(), found.data(), found.size()) &&
           file.substr(headers.place, found.size()) == found;
}

} // namespace

LoaderTable readLoaderTable(const MappedFile &file, const ProgramHeaders &headers) {
    LoaderTable table;
    const AddressSpace space(file, headers);
    const std::string_view bytes = file.bytes();
    table.isTold = interpretersOf(bytes, headers).empty() || findsHeaders(bytes, headers, space);
    TableReader reader(bytes, headers, space, table);
    std::set<std::uint64_t> addresses;
    for (const ElfSegment &segment : headers.segments)
        if (segment.type == PT_DYNAMIC && addresses.insert(segment.address).second)
            reader.read(segment.address);
    dropRepeated(table.needed);
    return table;
}

} // namespace Validator
