#include "kelp/core/kelp/validator/program/elf-reader.h"

#include "elf-image.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <numeric>

using namespace Validator;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bits = ElfImage::Bits;
using Order = ElfImage::Order;

std::vector<std::string> symbols(const IElfReader &reader) {
    std::vector<std::string> names;
    reader.forEachSymbol([&](const ElfSymbol &symbol) {
        names.emplace_back(symbol.name);
        return false;
    });
    return names;
}

std::vector<std::pair<std::uint64_t, std::string>> dynamic(const IElfReader &reader) {
    std::vector<std::pair<std::uint64_t, std::string>> entries;
    reader.forEachDynamicEntry([&](const ElfDynamicSection &entry) {
        entries.emplace_back(entry.tag, entry.value);
        return false;
    });
    return entries;
}

class ElfReaderTest : public testing::Test {
protected:
    std::shared_ptr<IElfReader> read(const std::string &bytes) {
        writeFile(directory_.path() / "file", bytes);
        return ElfReader::create(directory_.path() / "file");
    }

    TemporaryDirectory directory_;
};

TEST_F(ElfReaderTest, ReadsEitherWordSizeAndByteOrder) {
    const struct {
        Bits bits;
        Order order;
        ElfEncoding encoding;
        bool valid;
    } cases[] = {
        {Bits::Bits32, Order::Little, ElfEncoding::LittleEndian, true},
        {Bits::Bits64, Order::Little, ElfEncoding::LittleEndian, true},
        {Bits::Bits32, Order::Big, ElfEncoding::BigEndian, false},
        {Bits::Bits64, Order::Big, ElfEncoding::BigEndian, false},
    };
    for (const auto &c : cases) {
        ElfImage image(c.bits, c.order);
        image.addSymbols({"", "main"});
        image.addDynamic({{DT_NEEDED, "libc.so.6"},
                          {DT_RUNPATH, "/a"},
                          {DT_RPATH, ""},
                          {DT_RPATH, "/b"},
                          {DT_RPATH, "/c"},
                          {DT_SONAME, "d"},
                          {DT_HASH, "no text"}});
        image.addSymbols({"exported"}, SHT_DYNSYM);
        image.add({".rodata", SHT_PROGBITS, "constants"});
        const auto reader = read(image.bytes());
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->isValid(), c.valid);
        EXPECT_EQ(reader->encoding(), c.encoding);
        EXPECT_THAT(symbols(*reader), ElementsAre("", "main", "exported"));
        EXPECT_THAT(dynamic(*reader),
                    ElementsAre(std::pair(DT_NEEDED, "libc.so.6"), std::pair(DT_RUNPATH, "/a"),
                                std::pair(DT_RPATH, ""), std::pair(DT_RPATH, "/b"), std::pair(DT_RPATH, "/c"),
                                std::pair(DT_SONAME, "d"), std::pair(DT_HASH, "")));
        EXPECT_EQ(reader->rpath(), "/b");
        EXPECT_EQ(reader->rodata(), "constants");
    }
}

TEST_F(ElfReaderTest, OpensOnlyElfFiles) {
    const std::string sound = ElfImage().bytes();
    const struct {
        const char *what;
        std::string bytes;
        bool opens;
    } cases[] = {
        {"a sound one", sound, true},
        {"a script", "#!/bin/sh\nexit 0\n", false},
        {"an archive", "!<arch>\n" + sound, false},
        {"less than a header", sound.substr(0, 63), false},
        {"a header alone", sound.substr(0, 64), true},
        {"less than a header of 32 bits", ElfImage(Bits::Bits32).bytes().substr(0, 51), false},
        {"no word size", std::string(sound).replace(EI_CLASS, 1, 1, '\3'), false},
        {"no byte order", std::string(sound).replace(EI_DATA, 1, 1, '\0'), true},
        {"another version", std::string(sound).replace(EI_VERSION, 1, 1, '\0'), false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(read(c.bytes) != nullptr, c.opens) << c.what;
    EXPECT_FALSE(ElfReader::create(directory_.path()));
    EXPECT_FALSE(ElfReader::create("/dev/zero"));
}

/// Sections that lie, each next to a sound one that must still be seen.
TEST_F(ElfReaderTest, SkipsSectionsThatLie) {
    const auto huge = std::uint64_t(1) << 62;
    const ElfImage writer;
    const std::string entries = writer.symbolEntries({1, 1});
    const struct {
        const char *what;
        ElfImage::Section section;
        std::vector<std::string> names;
    } cases[] = {
        {"sound", {"s", SHT_SYMTAB, entries, 24, 1}, {"good", "good", "good"}},
        {"entries too small", {"s", SHT_SYMTAB, entries, 23, 1}, {"good"}},
        {"entries with room after", {"s", SHT_SYMTAB, entries, 25, 1}, {"good", "good"}},
        {"beyond the file", {"s", SHT_SYMTAB, entries, 24, 1, huge}, {"good"}},
        {"too large from its place on", {"s", SHT_SYMTAB, entries, 24, 1, std::nullopt, 456}, {"good"}},
        {"size that overflows", {"s", SHT_SYMTAB, entries, 24, 1, std::nullopt, ~std::uint64_t(0)}, {"good"}},
        {"names nowhere", {"s", SHT_SYMTAB, entries, 24, 99}, {"", "", "good"}},
        {"names beyond their table", {"s", SHT_SYMTAB, writer.symbolEntries({7}), 24, 1}, {"", "good"}},
        {"unterminated name", {"s", SHT_SYMTAB, writer.symbolEntries({6}), 24, 1}, {"", "good"}},
    };
    for (const auto &c : cases) {
        ElfImage image;
        image.add({"names", SHT_STRTAB, std::string("\0good\0x", 7)});
        image.add(c.section);
        image.add({"t", SHT_SYMTAB, writer.symbolEntries({1}), 24, 1});
        EXPECT_EQ(symbols(*read(image.bytes())), c.names) << c.what;
    }
}

TEST_F(ElfReaderTest, WildSectionTableIsNoTable) {
    ElfImage image;
    image.addSymbols({"main"});
    image.addDynamic({{DT_RPATH, "/usr/lib"}});
    image.add({".rodata", SHT_PROGBITS, "text"});
    const std::size_t size = image.bytes().size();
    for (const std::uint64_t offset : {size - 10, size, std::size_t(1) << 40, ~std::size_t(0)}) {
        ElfImage wild = image;
        wild.claimedTableOffset = offset;
        const auto reader = read(wild.bytes());
        ASSERT_TRUE(reader) << offset;
        EXPECT_TRUE(reader->isValid());
        EXPECT_THAT(symbols(*reader), IsEmpty());
        EXPECT_EQ(reader->rpath(), "");
        EXPECT_EQ(reader->rodata(), "");
    }
    for (const std::uint16_t count : {std::uint16_t(0), std::uint16_t(300), std::uint16_t(0xff00)}) {
        ElfImage wild = image;
        wild.claimedSectionCount = count;
        EXPECT_THAT(symbols(*read(wild.bytes())), IsEmpty()) << count;
    }
}

TEST_F(ElfReaderTest, RodataIsTheSectionOfThatName) {
    const std::pair<ElfImage::Section, std::string_view> cases[] = {
        {{".rodata", SHT_PROGBITS, "text"}, "text"},
        {{".rodata.str", SHT_PROGBITS, "text"}, ""},
        {{".rodat", SHT_PROGBITS, "text"}, ""},
        {{".rodata", SHT_NOBITS, "", 0, 0, std::nullopt, 64}, ""},
        {{".rodata", SHT_PROGBITS, "", 0, 0, 1 << 30, 64}, ""},
    };
    for (const auto &[section, bytes] : cases) {
        ElfImage image;
        image.add(section);
        EXPECT_EQ(read(image.bytes())->rodata(), bytes) << section.name;
    }
}

/// Sections that share bytes could cost hours, or use up what is read and hide what stands after them.
TEST_F(ElfReaderTest, FilesThatAskForMoreThanTheyHoldAreNotValid) {
    ElfImage overlapping;
    const std::string text(std::size_t(2) << 20, 'x');
    overlapping.add({"names", SHT_STRTAB, text + '\0'});
    std::vector<std::uint64_t> places(50000, 1);
    ElfImage shared = overlapping;
    shared.add({"s", SHT_SYMTAB, shared.symbolEntries(places), 24, 1});
    const auto sharing = read(shared.bytes());
    sharing->forEachSymbol([](const ElfSymbol &symbol) { return symbol.name.empty(); });
    EXPECT_TRUE(sharing->isValid()) << "one name of two megabytes for all";
    std::iota(places.begin(), places.end(), 1);
    overlapping.add({"s", SHT_SYMTAB, overlapping.symbolEntries(places), 24, 1});
    ElfImage names = overlapping;
    for (int i = 0; i < 5000; ++i)
        overlapping.add({"t", SHT_SYMTAB, "", 24, 1, 64 + 8 + text.size(), 1200000});
    EXPECT_FALSE(read(overlapping.bytes())->isValid());

    const auto reader = read(names.bytes());
    EXPECT_TRUE(reader->isValid());
    EXPECT_LE(symbols(*reader).size(), 3u);
    EXPECT_FALSE(reader->isValid()) << "fifty thousand names of two megabytes";

    ElfImage decoy;
    decoy.addDynamic({{DT_NEEDED, "libhidden.so"}});
    ElfImage::Section section{"d", SHT_DYNAMIC, "", decoy.dynamicSize(), 0, 0};
    ElfImage probe = decoy;
    probe.add(section);
    section.claimedSize = probe.bytes().size();
    decoy.add(section);
    EXPECT_FALSE(read(decoy.bytes())->isValid());
}

} // namespace
