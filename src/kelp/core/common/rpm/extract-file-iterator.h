#pragma once

#include "kelp/core/common/rpm/packed-file.h"
#include "kelp/core/common/rpm/reader.h"

#include <functional>

struct rpmfi_s;
struct rpmfiles_s;

namespace Common::Rpm {

/// The walk over the payload of a package file, with the content of the regular files. The payload is a
/// stream: there is one walk for an object and its copies together.
class ExtractFileIterator : public Reader {
public:
    using Entry = PackageEntry<Directory, PackedFile, Symlink, HardLink>;

    /// Opens the package and its payload. Raises as Reader does, and ErrorCode::BadPackageFileFormat
    /// "Couldn't read rpm package" for a file list that contradicts itself or is long and out of order, and
    /// "Couldn't open rpm package for extraction" when there is no way to decompress the payload.
    explicit ExtractFileIterator(const std::filesystem::path &package,
                                 Signatures signatures = Signatures::OfMachine);

    /// Calls `callback` for each entry, in the payload's order, until it returns true. A regular file of
    /// several names comes where its content is, under the first of them. The others follow it at once, as
    /// entries of the kind HardLink, even when the callback returned true for the file itself; their own
    /// return values do not matter. Device nodes and the like are logged as a warning and left out. Raises
    /// ErrorCode::Internal "Couldn't read content from rpm package" when the payload is damaged or lacks a
    /// file of the list; what was walked by then stays walked. An empty `callback` raises
    /// std::bad_function_call; what the callback raises passes.
    void forEach(const std::function<bool(const Entry &)> &callback) const;

    /// Whether `path` is one of the names of a regular file, hard links included.
    bool isNameOf(const std::filesystem::path &path, const Entry &file) const;

private:
    void forEachFurtherName(const Entry &file, const std::function<bool(const Entry &)> &callback) const;

    std::shared_ptr<rpmfiles_s> files_;
    std::shared_ptr<rpmfi_s> archive_;
};

} // namespace Common::Rpm
