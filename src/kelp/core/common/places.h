#pragma once

#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace Common {

/// The root prefix: the text of the environment variable KELP_ROOT_FS, even if empty, or "/" when it is not
/// set. KELP's own files and those that it publishes lie below this prefix, so that the programs can also
/// work on the image of a machine. Places out of rpm's records, and those that the environment names, have no
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

/// The existing directories "home/NAME" below the root prefix, for each member NAME of the group "users", in
/// the order of the group. Other homes that the password database names are not looked up. Raises
/// ErrorCode::Internal when the group database does not answer.
std::vector<std::filesystem::path> usersHomes();

/// The same for callers that rely on the absence of a home.
struct HomesLook {
    std::vector<std::filesystem::path> homes;
    std::exception_ptr failure; ///< Of the first home at which the look failed: it may be there.
};
HomesLook lookForUsersHomes();

} // namespace Common
