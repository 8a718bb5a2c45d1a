#include "kelp/core/kelp/validator/program/elf-reader.h"

#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <gelf.h>
#include <libelf.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Validator {

namespace {

using namespace std::string_view_literals;

/// With its end: ".rodata.str" is another section.
constexpr auto rodataName = ".rodata\0"sv;

unsigned char identAt(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

ElfClass classOf(std::string_view bytes) {
    switch (identAt(bytes, EI_CLASS)) {
    case ELFCLASS32:
        return ElfClass::Bits32;
    case ELFCLASS64:
        return ElfClass::Bits64;
    default:
        return ElfClass::Unknown;
    }
}

ElfEncoding encodingOf(std::string_view bytes) {
    switch (identAt(bytes, EI_DATA)) {
    case ELFDATA2LSB:
        return ElfEncoding::LittleEndian;
    case ELFDATA2MSB:
        return ElfEncoding::BigEndian;
    default:
        return ElfEncoding::Unknown;
    }
}

/// libelf's result, or nothing. Raises for a lack of memory: otherwise the file would seem to have no
/// sections.
template<class Result, class Read>
Result *unlessOutOfMemory(const Read &read) {
    errno = 0;
    Result *result = read();
    if (result == nullptr && errno == ENOMEM)
        throw std::bad_alloc();
    return result;
}

/// False for a section whose header the file does not hold.
bool readHeader(Elf_Scn *section, GElf_Shdr &header) {
    return unlessOutOfMemory<GElf_Shdr>([&] { return gelf_getshdr(section, &header); }) != nullptr;
}

/// Checks the bytes before libelf does: that also accepts archives.
bool isElf(std::string_view bytes) {
    if (bytes.size() < EI_NIDENT || !bytes.starts_with(ELFMAG) || identAt(bytes, EI_VERSION) != EV_CURRENT)
        return false;
    switch (classOf(bytes)) {
    case ElfClass::Bits32:
        return bytes.size() >= sizeof(Elf32_Ehdr);
    case ElfClass::Bits64:
        return bytes.size() >= sizeof(Elf64_Ehdr);
    default:
        return false;
    }
}

/// The bytes of a section, or nothing when the file does not hold them all.
std::optional<std::string_view> contentOf(std::string_view file, const GElf_Shdr &header) {
    // Compared with the rest of the file: offset and size together may overflow.
    if (header.sh_type == SHT_NOBITS || header.sh_offset > file.size() ||
        header.sh_size > file.size() - header.sh_offset)
        return std::nullopt;
    return file.substr(header.sh_offset, header.sh_size);
}

std::optional<std::string_view> contentOf(std::string_view file, Elf *elf, std::size_t index) {
    GElf_Shdr header;
    if (!readHeader(elf_getscn(elf, index), header))
        return std::nullopt;
    return contentOf(file, header);
}

/// The most libraries and the like in one file, since callers keep them.
constexpr std::size_t mostTexts = 0x10000;

/// The bound of one walk: the sections of a sound file do not overlap.
struct Budget {
    explicit Budget(std::size_t fileSize) : entries(fileSize), text(fileSize) {}

    std::size_t entries;
    std::size_t text;
    bool isExceeded = false;

    bool take(std::size_t &allowance, std::size_t amount) {
        // Exceeded for good: a smaller amount after a large one must not be read either.
        isExceeded = isExceeded || amount > allowance;
        if (!isExceeded)
            allowance -= amount;
        return !isExceeded;
    }
};

/// The names that one walk has read, by their places in the file. Linkers share one string among symbols of a
/// name, so it counts once.
class ReadNames {
public:
    explicit ReadNames(std::size_t fileSize) : fileSize_(fileSize) {}

    /// Whether a name begins at this place that was read before.
    bool contains(std::size_t place) const { return place < isRead_.size() && isRead_[place]; }

    /// The size of a long name that was read before; nothing for another.
    std::optional<std::size_t> sizeOfLong(std::size_t place) const {
        const auto found = longNames_.find(place);
        return found != longNames_.end() ? std::optional(found->second) : std::nullopt;
    }

    void add(std::size_t place, std::size_t size) {
        // In a larger file a name counts each time it is read: its budget allows that.
        if (fileSize_ > largestFile)
            return;
        isRead_.resize(fileSize_);
        isRead_[place] = true;
        if (size > longestSearched)
            longNames_.emplace(place, size);
    }

private:
    static constexpr std::size_t largestFile = std::size_t(128) << 20; ///< A bit of memory for each byte.
    static constexpr std::size_t longestSearched = 1024;

    std::size_t fileSize_;
    std::vector<bool> isRead_;
    std::unordered_map<std::size_t, std::size_t> longNames_; ///< Names whose end need not be searched again.
};

/// The strings of one string table.
class Names {
public:
    Names(const MappedFile &file, std::string_view table, Budget &budget, ReadNames &read) :
        passage_(file),
        place_(table.empty() ? 0 : static_cast<std::size_t>(table.data() - file.bytes().data())),
        table_(table),
        budget_(budget),
        read_(read) {}

    std::string_view at(std::uint64_t offset) const {
        if (offset >= table_.size())
            return {};
        const std::size_t place = place_ + offset;
        if (read_.contains(place))
            return readBefore(place, offset);
        // The search for the end counts against the budget too: a million names without an end would each run
        // through the whole table.
        const std::string_view rest = table_.substr(offset, budget_.text + 1);
        const std::size_t end = passage_.find(rest, '\0');
        const bool isRead = budget_.take(budget_.text, std::min(end, rest.size()));
        if (end == std::string_view::npos || !isRead)
            return {};
        read_.add(place, end);
        return rest.substr(0, end);
    }

private:
    /// Maybe read from another table, which ends later.
    std::string_view readBefore(std::size_t place, std::uint64_t offset) const {
        const std::string_view rest = table_.substr(offset);
        const auto known = read_.sizeOfLong(place);
        const std::size_t size = known ? *known : rest.find('\0');
        return size < rest.size() ? rest.substr(0, size) : std::string_view();
    }

    Passage passage_;
    std::size_t place_; ///< Of the table in the file.
    std::string_view table_;
    Budget &budget_;
    ReadNames &read_;
};

/// The sections of one kind of entry.
struct EntryKind {
    std::initializer_list<GElf_Word> sectionTypes;
    std::size_t size; ///< Of an entry in this file's class, in bytes.
};

/// Calls `visit(header, content)` for each section of the kind with content in the file, until the budget is
/// exceeded or it returns true.
template<class Visit>
void walkSections(std::string_view file, Elf *elf, const EntryKind &kind, Budget &budget,
                  const Visit &visit) {
    // A file that libelf refuses has no handle, and so no sections.
    for (Elf_Scn *section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (!readHeader(section, header) ||
            std::ranges::find(kind.sectionTypes, header.sh_type) == kind.sectionTypes.end())
            continue;
        const auto content = contentOf(file, header);
        // Smaller entries do not fit the type, and entries of size zero would never end.
        if (!content || header.sh_entsize < kind.size)
            continue;
        if (!budget.take(budget.entries, content->size()) || visit(header, *content))
            return;
    }
}

/// Calls `visit(entry bytes, names of the section)` for each entry until it returns true. Returns whether the
/// file went over its budget.
template<class Visit>
bool walk(const MappedFile &file, Elf *elf, const EntryKind &kind, const Visit &visit) {
    const std::string_view bytes = file.bytes();
    Budget budget(bytes.size());
    ReadNames read(bytes.size());
    walkSections(bytes, elf, kind, budget, [&](const GElf_Shdr &header, std::string_view content) {
        const Names names(file, contentOf(bytes, elf, header.sh_link).value_or(""sv), budget, read);
        // By the section's entry size, which may be larger than the part that is read.
        for (; content.size() >= header.sh_entsize; content.remove_prefix(header.sh_entsize)) {
            if (visit(content, names) || budget.isExceeded)
                return true;
            file.passed(header.sh_entsize);
        }
        return false;
    });
    return budget.isExceeded;
}

/// Whether the sections alone, entries unread, go over the budget.
bool claimsTooMuch(std::string_view file, Elf *elf) {
    // Checked before any walk: a first section as large as the file would use up the budget and hide the
    // libraries after it. Sections of any entry size count.
    for (const EntryKind &kind : {EntryKind{{SHT_SYMTAB, SHT_DYNSYM}, 1}, EntryKind{{SHT_DYNAMIC}, 1}}) {
        Budget budget(file.size());
        walkSections(file, elf, kind, budget, [](const GElf_Shdr &, std::string_view) { return false; });
        if (budget.isExceeded)
            return true;
    }
    return false;
}

/// The first entry of `raw` in the machine's byte order. `raw` may lie at any address.
template<class Entry>
Entry translated(Elf *elf, std::string_view raw, Elf_Type type) {
    Entry entry;
    std::memcpy(&entry, raw.data(), sizeof entry);
    Elf_Data data{};
    data.d_buf = &entry;
    data.d_size = sizeof entry;
    data.d_type = type;
    data.d_version = EV_CURRENT;
    const unsigned encoding = static_cast<unsigned char>(elf_getident(elf, nullptr)[EI_DATA]);
    gelf_xlatetom(elf, &data, &data, encoding);
    return entry;
}

/// Other tags' values are addresses and numbers, not places of strings.
bool hasText(std::uint64_t tag) {
    return tag == DT_NEEDED || tag == DT_SONAME || tag == DT_RPATH || tag == DT_RUNPATH;
}

template<class Symbol>
bool walkSymbols(const MappedFile &file, Elf *elf, const std::function<bool(const ElfSymbol &)> &visit) {
    return walk(file, elf, {{SHT_SYMTAB, SHT_DYNSYM}, sizeof(Symbol)},
                [&](std::string_view raw, const Names &names) {
                    return visit({names.at(translated<Symbol>(elf, raw, ELF_T_SYM).st_name)});
                });
}

template<class Dynamic>
bool walkDynamic(const MappedFile &file, Elf *elf,
                 const std::function<bool(const ElfDynamicSection &)> &visit) {
    return walk(file, elf, {{SHT_DYNAMIC}, sizeof(Dynamic)}, [&](std::string_view raw, const Names &names) {
        const auto entry = translated<Dynamic>(elf, raw, ELF_T_DYN);
        const auto tag = static_cast<std::uint64_t>(entry.d_tag);
        return visit({tag, hasText(tag) ? names.at(entry.d_un.d_val) : std::string_view()});
    });
}

} // namespace

void ElfReader::Release::operator()(Elf *elf) const {
    elf_end(elf);
}

std::shared_ptr<IElfReader> ElfReader::create(const std::filesystem::path &path) {
    auto file = MappedFile::open(path);
    if (!file || !isElf(file->bytes()))
        return nullptr;
    // libelf refuses everything until the version is set.
    elf_version(EV_CURRENT);
    // The image is only read: libelf's type just lacks the const. A file that libelf refuses, such as one of
    // unknown byte order, has no sections.
    char *image = const_cast<char *>(file->bytes().data());
    Handle elf(unlessOutOfMemory<Elf>([&] { return elf_memory(image, file->bytes().size()); }));
    if (elf && elf_kind(elf.get()) != ELF_K_ELF)
        elf.reset();
    return std::shared_ptr<IElfReader>(new ElfReader(std::move(file), std::move(elf)));
}

ElfReader::ElfReader(std::shared_ptr<const MappedFile> file, Handle elf) :
    file_(std::move(file)),
    elf_(std::move(elf)),
    elfClass_(classOf(file_->bytes())),
    elfEncoding_(encodingOf(file_->bytes())),
    isOverBudget_(claimsTooMuch(file_->bytes(), elf_.get())) {
    forEachDynamicEntry([this](const ElfDynamicSection &entry) {
        if (entry.tag == DT_RPATH)
            rpath_ = entry.value;
        return !rpath_.empty();
    });
}

bool ElfReader::isValid() const {
    return elfClass_ != ElfClass::Unknown && elfEncoding_ == ElfEncoding::LittleEndian && !isOverBudget_;
}

void ElfReader::forEachSymbol(const std::function<bool(const ElfSymbol &)> &visit) const {
    // A file over its budget is not read further: it is refused anyway.
    const auto walkAll = elfClass_ == ElfClass::Bits32 ? walkSymbols<Elf32_Sym> : walkSymbols<Elf64_Sym>;
    isOverBudget_ = isOverBudget_ || walkAll(*file_, elf_.get(), visit);
}

void ElfReader::forEachDynamicEntry(const std::function<bool(const ElfDynamicSection &)> &visit) const {
    const auto walkAll = elfClass_ == ElfClass::Bits32 ? walkDynamic<Elf32_Dyn> : walkDynamic<Elf64_Dyn>;
    std::size_t texts = 0;
    const auto visitFew = [&](const ElfDynamicSection &entry) {
        texts += hasText(entry.tag) ? 1U : 0U;
        return texts > mostTexts || visit(entry);
    };
    isOverBudget_ = isOverBudget_ || walkAll(*file_, elf_.get(), visitFew) || texts > mostTexts;
}

std::string_view ElfReader::rodata() const {
    std::size_t namesIndex = 0;
    // Sections are found by name: read-only data has no type of its own.
    if (elf_getshdrstrndx(elf_.get(), &namesIndex) != 0)
        return {};
    const std::string_view names = contentOf(file_->bytes(), elf_.get(), namesIndex).value_or(""sv);
    for (Elf_Scn *section = nullptr; (section = elf_nextscn(elf_.get(), section)) != nullptr;) {
        GElf_Shdr header;
        if (readHeader(section, header) && header.sh_name < names.size() &&
            names.substr(header.sh_name).starts_with(rodataName))
            return contentOf(file_->bytes(), header).value_or(""sv);
    }
    return {};
}

} // namespace Validator
