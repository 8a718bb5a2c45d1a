#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct stat;
struct statx;

namespace Common {

/// A directory that is held open. Root must not act by paths where others can write: between a look and an
/// action, others can replace any part of the path by a link. The operations act on entries of the open
/// directory itself, even if somebody has moved it.
///
/// Operations raise std::filesystem::filesystem_error with the system's reason and the path. An operation
/// that may follow no link refuses a link on its path, an absolute path and one with "..": the reason is then
/// ELOOP.
class Directory {
public:
    /// Opens a directory whose path is trusted as it is: links on the way are followed.
    explicit Directory(const std::filesystem::path &path);

    /// Opens a directory by its path. Follows only links that root alone can have made: root owns the link
    /// and the directory in which it lies, and nobody else can write to that directory. Refuses any other
    /// link, a loop of links, and ".." out of a directory that others own or can write to (isRefusal()).
    /// Returns nothing when there is no such directory.
    static std::optional<Directory> byLinksOfRoot(const std::filesystem::path &path);

    /// The same, but makes missing directories, owned by the caller and with the permissions of its umask.
    static Directory makeByLinksOfRoot(const std::filesystem::path &path);

    /// Whether the error is a refusal, and not a failure of the system.
    static bool isRefusal(const std::system_error &error);

    /// The path by which the directory was found, for people to read.
    const std::filesystem::path &path() const { return path_; }

    /// Opens a directory below this one, by a relative path on which no link is followed. Nothing when there
    /// is none, or a file in its place; a link is refused.
    std::optional<Directory> find(const std::filesystem::path &path) const;

    /// The same, but makes missing directories, and raises for a file in the way. A new directory gets its
    /// parent's permissions and, from root, its owner, so that people can use it in their homes. A kill
    /// leaves empty directories, the last one perhaps closed to others. So a directory of the caller's that
    /// exists, empty and closed, counts as new.
    Directory make(const std::filesystem::path &path) const;

    /// The status of an entry; does not follow a link. False when there is none.
    bool look(const std::string &name, struct stat &status) const;

    /// The same with what statx(2) tells more.
    bool look(const std::string &name, struct statx &status) const;

    /// Makes a symbolic link. Raises when anything has that name.
    void makeLink(const std::string &target, const std::string &name) const;

    /// Everything in the directory, sorted.
    std::vector<std::string> names() const;

    /// A path that leads to an entry by the open directory, for calls that take only paths. Good for as long
    /// as this object.
    std::filesystem::path reach(const std::string &name) const;

    /// Renames an entry, a link itself where it is one, and not over anything: false when the new name is
    /// taken there. One atomic step; raises across filesystems. If a filesystem cannot do both in one step, a
    /// file that appears at the new name right before the rename is replaced.
    bool move(const std::string &name, const Directory &to, const std::string &newName) const;

    /// Exchanges the names of two entries, in one atomic step: both names exist at every moment. False where
    /// the filesystem cannot; raises when one of the two is not there.
    bool exchange(const std::string &name, const std::string &other) const;

    /// The same with an entry of another directory.
    bool exchange(const std::string &name, const Directory &place, const std::string &other) const;

    /// Removes an entry other than a directory. False when there is none.
    bool removeFile(const std::string &name) const;

    /// Removes a directory with nothing in it. False when there is none, or anything else of that name.
    bool removeIfEmpty(const std::string &name) const;

private:
    Directory(FileDescriptor directory, std::filesystem::path path);

    [[noreturn]] void raise(const char *what, const std::filesystem::path &path) const;
    Directory again() const;
    FileDescriptor step(const std::string &name) const;
    Directory makeStep(const std::string &name) const;

    FileDescriptor directory_;
    std::filesystem::path path_;
};

} // namespace Common
