#pragma once

#include "kelp/core/common/files/directory.h"

#include <filesystem>
#include <optional>
#include <string>

namespace Core::KELP {

/// How a file is published.
enum class MappingMode {
    Link, ///< A symbolic link to the file in the store.
    Copy, ///< A copy that carries the path of its source in the attribute "user.kelp.mapping.target". A link
          ///< to a directory is published as a link to its place in the store. A link that
          ///< Common::copySymlink() copies as a link carries no attribute.
};

/// Where the mapping at `path` points: the text of a link, or the attribute of a copy. Raises
/// ErrorCode::Internal when `path` is neither, or when the look fails.
std::filesystem::path mappingTarget(const std::filesystem::path &path);

/// The same, but nothing for any other file, or none. A failed look raises ErrorCode::Filesystem, for callers
/// that must not take it for absence.
std::optional<std::filesystem::path> findMapping(const std::filesystem::path &path);

/// The same of an entry of an open directory.
std::optional<std::filesystem::path> findMapping(const Common::Directory &directory, const std::string &name);

/// Whether `path` is a link, or a copy that still carries its attribute. A failed look counts as "no".
bool isMapping(const std::filesystem::path &path);

// A failed look raises ErrorCode::Filesystem in these three: it does not make a mapping somebody else's.

/// Whether `path` points to `source`, as what createMapping() makes of it does, but for a copied link.
bool isMappingOf(const std::filesystem::path &path, const std::filesystem::path &source);

/// Whether `path` points to anything below `directory`. Compares the texts.
bool isMappingBelow(const std::filesystem::path &path, const std::filesystem::path &directory);

/// Whether `path` may be the copy of `source` that createMapping() makes of a link which points beside
/// itself. It cannot be told from a foreign link of the same text.
bool isCopiedLinkOf(const std::filesystem::path &path, const std::filesystem::path &source);

/// Raises the ErrorCode::FileConflict that createMapping() would raise, and ErrorCode::Filesystem for a
/// failed look.
void requireFreeTarget(const std::filesystem::path &target);

/// Removes the mapping `name` of the directory when its own target is gone, and returns whether it did.
/// `mapping` is its path, for the log. A failure is logged.
bool removeIfBroken(const std::filesystem::path &mapping, const Common::Directory &parent,
                    const std::string &name);

/// Publishes `source` at `target` by a mapping: a link or a copy. Makes missing parent directories, which
/// stay after a failure. Reaches `target` only through links that root alone can exchange
/// (Common::Directory::byLinksOfRoot). Replaces any dangling link at `target`, and a copy whose source is
/// gone. Anything else that exists there stays, and raises ErrorCode::FileConflict. A mapping that cannot be
/// made raises ErrorCode::Filesystem. A kill leaves the whole mapping or none, and at worst an unfinished
/// copy beside it (Common::copyInOneStep()).
void createMapping(const std::filesystem::path &source, const std::filesystem::path &target,
                   MappingMode mode);

/// Publishes file after file as createMapping() does, and keeps the last directory open for the next file:
/// thousands of neighbours are reached by one walk.
class MappingMaker {
public:
    explicit MappingMaker(MappingMode mode) : mode_(mode) {}

    void make(const std::filesystem::path &source, const std::filesystem::path &target);

    /// The directory of `target`, held open. Makes it if it is missing, as make() does. Raises as that.
    const Common::Directory &enter(const std::string &source, const std::string &target);

    /// Makes the mapping under another name beside `target`, from where one rename brings it there. Raises
    /// ErrorCode::Filesystem, also when anything has that name, which stays.
    void makeBeside(const std::string &source, const std::string &target, const std::string &name);

private:
    void create(const std::string &source, const std::string &target, const std::string &name) const;

    MappingMode mode_;
    std::optional<Common::Directory> parent_;
};

} // namespace Core::KELP
