#pragma once

#include "kelp/core/common/rpm/package-entry.h"
#include "kelp/core/common/rpm/reader.h"

#include <functional>

struct rpmfi_s;
struct rpmfiles_s;

namespace Common::Rpm {

/// The walk over the file list of a package's header. It does not read the payload, so a listed file may be
/// missing there, as a %ghost file is. The iterator keeps the header's list alive. Copies of an iterator
/// share one position: while one of them walks, do not start a walk of another.
class FileIterator : public Reader {
public:
    using Entry = PackageEntry<Directory, RegularFile, Symlink>;

    /// The names of a set of hard links in a walk.
    enum class Names {
        WithContent, ///< The one that has the content in the walk over the payload.
        All,         ///< Each name, as a regular file.
    };

    /// Whether a walk logs the device nodes and the like that it leaves out. One walk over a package does:
    /// the others would say it again.
    enum class Unexpected { Logged, Silent };

    /// Walks the package of `reader`. Raises as fileList() does.
    explicit FileIterator(const Reader &reader);

    /// The same over a package file; raises as Reader does too.
    explicit FileIterator(const std::filesystem::path &package);

    /// Calls `callback` for each entry, in the header's order and from the first one at each call, until it
    /// returns true. Device nodes and the like are left out, with a warning in the log unless `unexpected` is
    /// Silent. An empty `callback` raises std::bad_function_call; exceptions of the callback pass.
    void forEach(const std::function<bool(const Entry &)> &callback, Names names = Names::WithContent,
                 Unexpected unexpected = Unexpected::Logged) const;

private:
    std::shared_ptr<rpmfiles_s> files_;
    std::shared_ptr<rpmfi_s> iterator_;
};

} // namespace Common::Rpm
