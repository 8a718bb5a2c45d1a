#include "elf-image.h"

namespace {

/// A string table of the names and where each begins.
std::pair<std::string, std::vector<std::uint64_t>> stringTable(const std::vector<std::string> &names) {
    std::string table(1, '\0');
    std::vector<std::uint64_t> offsets;
    for (const std::string &name : names) {
        offsets.push_back(name.empty() ? 0 : table.size());
        table += name.empty() ? "" : name + '\0';
    }
    return {table, offsets};
}

} // namespace

std::uint32_t ElfImage::add(Section section) {
    sections_.push_back(std::move(section));
    return static_cast<std::uint32_t>(sections_.size() - 1);
}

void ElfImage::addSymbols(const std::vector<std::string> &names, std::uint32_t type) {
    const auto [table, offsets] = stringTable(names);
    const auto strings = add({".names", SHT_STRTAB, table});
    add({".symbols", type, symbolEntries(offsets), symbolSize(), strings});
}

void ElfImage::addDynamic(const std::vector<std::pair<std::uint64_t, std::string>> &entries) {
    std::vector<std::string> texts;
    for (const auto &entry : entries)
        texts.push_back(entry.second);
    const auto [table, offsets] = stringTable(texts);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> values;
    for (std::size_t i = 0; i < entries.size(); ++i)
        values.emplace_back(entries[i].first, offsets[i]);
    const auto strings = add({".dynstr", SHT_STRTAB, table});
    add({".dynamic", SHT_DYNAMIC, dynamicEntries(values), dynamicSize(), strings});
}

std::string ElfImage::symbolEntries(const std::vector<std::uint64_t> &names) const {
    std::string bytes;
    for (const std::uint64_t name : names)
        bytes += number(name, 4) + std::string(symbolSize() - 4, '\0');
    return bytes;
}

std::string
ElfImage::dynamicEntries(const std::vector<std::pair<std::uint64_t, std::uint64_t>> &entries) const {
    std::string bytes;
    for (const auto &[tag, value] : entries)
        bytes += word(tag) + word(value);
    return bytes;
}

std::string ElfImage::bytes() const {
    std::vector<std::string> names;
    for (const Section &section : sections_)
        names.push_back(section.name);
    names.emplace_back(".shstrtab");
    const auto [table, nameOffsets] = stringTable(names);

    std::vector<Section> sections = sections_;
    sections.push_back({".shstrtab", SHT_STRTAB, table});
    const std::size_t headerSize = header(0).size();
    std::string data;
    std::string headers;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        headers += sectionHeader(sections[i], nameOffsets[i], headerSize + data.size());
        data += sections[i].data + std::string((8 - sections[i].data.size() % 8) % 8, '\0');
    }
    return header(claimedTableOffset.value_or(headerSize + data.size())) + data + headers;
}

std::string ElfImage::number(std::uint64_t value, std::size_t width) const {
    std::string bytes;
    for (std::size_t i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> (8 * (order_ == Order::Little ? i : width - 1 - i)));
    return bytes;
}

std::string ElfImage::header(std::uint64_t tableOffset) const {
    const bool wide = bits_ == Bits::Bits64;
    std::string ident = ELFMAG;
    ident += static_cast<char>(wide ? ELFCLASS64 : ELFCLASS32);
    ident += static_cast<char>(order_ == Order::Little ? ELFDATA2LSB : ELFDATA2MSB);
    ident += static_cast<char>(EV_CURRENT);
    ident.resize(EI_NIDENT, '\0');
    const auto count = static_cast<std::uint16_t>(sections_.size() + 1);
    return ident + number(ET_EXEC, 2) + number(EM_X86_64, 2) + number(EV_CURRENT, 4) + word(0) + word(0) +
           word(tableOffset) + number(0, 4) + number(wide ? 64 : 52, 2) + number(0, 2) + number(0, 2) +
           number(wide ? 64 : 40, 2) + number(claimedSectionCount.value_or(count), 2) + number(count - 1u, 2);
}

std::string ElfImage::sectionHeader(const Section &section, std::uint64_t name, std::uint64_t offset) const {
    return number(name, 4) + number(section.type, 4) + word(0) + word(0) +
           word(section.claimedOffset.value_or(offset)) +
           word(section.claimedSize.value_or(section.data.size())) + number(section.link, 4) + number(0, 4) +
           word(1) + word(section.entrySize);
}
