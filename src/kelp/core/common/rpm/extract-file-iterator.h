#pragma once

#include "kelp/core/common/rpm/packed-file.h"
#include "kelp/core/common/rpm/reader.h"

#include <functional>

struct rpmfi_s;
struct rpmfiles_s;

namespace Common::Rpm {

/// The walk over the payload of a package file, with the content of the regular files. The payload is a
/// stream: an object and its copies share one walk.
class ExtractFileIterator : public Reader {
public:
    using Entry = PackageEntry<Directory, PackedFile, Symlink, HardLink>;

    /// Opens the package and its payload. Raises as Reader and fileList() do. Also raises
    /// ErrorCode::BadPackageFileFormat: "Couldn't read rpm package" for a link longer than any path, or for a
    /// list that has more than 4,096 files and is out of order, since librpm could search it for days;
    /// "Couldn't open rpm package for extraction" when the decompressor of the payload cannot start.
    explicit ExtractFileIterator(const std::filesystem::path &package,
                                 Signatures signatures = Signatures::OfMachine);

    /// Calls `callback` for each entry, in the payload's order, until it returns true. A regular file with
    /// several names comes where its content is, under the first of its names in the header. HardLink entries
    /// for its other names follow at once, even if the callback returned true for the file; what it returns
    /// for them is ignored. Device nodes and the like are logged as a warning and left out.
    ///
    /// Raises ErrorCode::Internal "Couldn't read content from rpm package" when the payload is damaged, or
    /// lacks a listed file that is no %ghost; by then the callback has had the entries before that place. An
    /// empty `callback` raises std::bad_function_call; exceptions of the callback pass.
    void forEach(const std::function<bool(const Entry &)> &callback) const;

    /// Whether `path` is one of the names of a regular file, hard links included.
    bool isNameOf(const std::filesystem::path &path, const Entry &file) const;

private:
    void forEachFurtherName(const Entry &file, const std::function<bool(const Entry &)> &callback) const;

    std::shared_ptr<rpmfiles_s> files_;
    std::shared_ptr<rpmfi_s> archive_;
};

} // namespace Common::Rpm
