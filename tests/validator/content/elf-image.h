#pragma once

#include <elf.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Writes ELF files of either word size and byte order, sound ones and ones that lie.
class ElfImage {
public:
    enum class Bits { Bits32, Bits64 };
    enum class Order { Little, Big };

    struct Section {
        std::string name;
        std::uint32_t type = SHT_PROGBITS;
        std::string data;
        std::uint64_t entrySize = 0;
        std::uint32_t link = 0;
        std::optional<std::uint64_t> claimedOffset = std::nullopt; ///< Instead of where the data lie.
        std::optional<std::uint64_t> claimedSize = std::nullopt;   ///< Instead of how much there is.
    };

    explicit ElfImage(Bits bits = Bits::Bits64, Order order = Order::Little) : bits_(bits), order_(order) {}

    /// Adds a section after the others and returns its index.
    std::uint32_t add(Section section);

    /// Adds a symbol table of this type with an entry for each name, and its string table.
    void addSymbols(const std::vector<std::string> &names, std::uint32_t type = SHT_SYMTAB);

    /// Adds a dynamic section with an entry for each pair of tag and text, and its string table.
    void addDynamic(const std::vector<std::pair<std::uint64_t, std::string>> &entries);

    /// The bytes of symbol or dynamic entries that begin at these places of a string table.
    std::string symbolEntries(const std::vector<std::uint64_t> &names) const;
    std::string dynamicEntries(const std::vector<std::pair<std::uint64_t, std::uint64_t>> &entries) const;
    std::uint64_t symbolSize() const { return bits_ == Bits::Bits32 ? 16 : 24; }
    std::uint64_t dynamicSize() const { return bits_ == Bits::Bits32 ? 8 : 16; }

    std::string bytes() const;

    std::optional<std::uint64_t> claimedTableOffset; ///< Instead of where the section headers lie.
    std::optional<std::uint16_t> claimedSectionCount;

private:
    std::string number(std::uint64_t value, std::size_t width) const;
    std::string word(std::uint64_t value) const { return number(value, bits_ == Bits::Bits32 ? 4 : 8); }
    std::string header(std::uint64_t tableOffset) const;
    std::string sectionHeader(const Section &section, std::uint64_t name, std::uint64_t offset) const;

    Bits bits_;
    Order order_;
    std::vector<Section> sections_{{"", SHT_NULL, ""}};
};
