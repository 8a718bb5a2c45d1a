#pragma once

#include "kelp/core/kelp/validator/program/i-elf-reader.h"

#include <filesystem>
#include <memory>

struct Elf;

namespace Validator {

/// Reads ELF files (elf(5)) of either word size and byte order, on any machine.
///
/// Trusts nothing in the file. After create(), raises only for a lack of memory. If the section headers do
/// not lie within the file, the file counts as one without sections. A section is skipped if it is not whole
/// within the file, or its entries are too small for its type. A name without an end in its string table
/// counts as empty.
///
/// The sections of a sound file do not overlap. So one walk over symbols or dynamic entries needs no more
/// bytes of entries, and of names, than the file has. A hostile file may need more: it may have a thousand
/// section headers that name the same megabytes. Such a file becomes invalid, and its entries are not read
/// further. So does a file with more than 65,536 names of libraries and the like in its dynamic entries.
/// isValid() is false from the opening on if the sections of symbols, or those of dynamic entries, are
/// together larger than the file. Otherwise it becomes false in the walk that meets too many names. It is
/// also false for a file that is not little-endian.
class ElfReader final : public IElfReader {
public:
    /// The reader of the file at `path`. Empty for anything but a regular ELF file of 32 or 64 bits and
    /// version 1, and for one that ends within the ELF header. Raises as MappedFile::open() does.
    static std::shared_ptr<IElfReader> create(const std::filesystem::path &path);

    bool isValid() const override;
    ElfEncoding encoding() const override { return elfEncoding_; }
    const std::string &rpath() const override { return rpath_; }
    void forEachSymbol(const std::function<bool(const ElfSymbol &)> &visit) const override;
    void forEachDynamicEntry(const std::function<bool(const ElfDynamicSection &)> &visit) const override;
    std::string_view rodata() const override;
    Passage passage() const override { return Passage(*file_); }

private:
    struct Release {
        void operator()(Elf *elf) const;
    };
    using Handle = std::unique_ptr<Elf, Release>;

    ElfReader(std::shared_ptr<const MappedFile> file, Handle elf);

    std::shared_ptr<const MappedFile> file_;
    Handle elf_; ///< Uses the mapped bytes, so it must end before them.
    ElfClass elfClass_ = ElfClass::Unknown;
    ElfEncoding elfEncoding_ = ElfEncoding::Unknown;
    mutable bool isOverBudget_ = false; ///< Known before a walk, or found in one.
    std::string rpath_;
};

} // namespace Validator
