#pragma once

#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace Common {

/// The root prefix: the text of the environment variable KELP_ROOT_FS, even if empty, or "/" when it is not
/// set. KELP's own files and the files that it publishes lie below this prefix, so that the programs can also
/// work on the image of a machine. Paths that rpm has recorded, and paths that the environment names, get no
/// prefix. The environment is read at each call.
std::filesystem::path rootPath();

/// `path` below the root prefix, whether `path` is absolute or relative: with the prefix "/mnt/x", "/etc/a"
/// and "etc/a" both give "/mnt/x/etc/a". Nothing is canonicalised.
std::filesystem::path belowRoot(const std::filesystem::path &path);

/// The environment variable HOME. Raises ErrorCode::Filesystem when it is not set.
std::filesystem::path homePath();

/// The standard temporary directory. Raises ErrorCode::Filesystem when there is none.
std::filesystem::path tempDirectoryPath();

/// A path made of `model` with each "%" replaced by a random hexadecimal digit. Nothing is created.
std::filesystem::path uniquePath(const std::string &model);

/// The entries "home/NAME" below the root prefix that exist, for each member NAME of the group "users", in
/// the order of the group. The group is the running system's, without the prefix. A home elsewhere is not
/// looked for, whatever the password database says. A home at which the look fails, or that is a link that
/// leads nowhere, is logged and left out. Raises ErrorCode::Internal when there is no such group, or the
/// group database does not answer.
std::vector<std::filesystem::path> usersHomes();

/// The same for callers that rely on the absence of a home.
struct HomesLook {
    std::vector<std::filesystem::path> homes;
    std::exception_ptr failure; ///< Of the first home at which the look failed: it may be there.
    /// Of the first that is a link to nowhere: its disk may not be mounted. "home/" itself counts too.
    std::exception_ptr unmounted;
};
HomesLook lookForUsersHomes();

} // namespace Common
