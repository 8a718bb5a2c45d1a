#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Common {

/// The environment variable HOME. Raises ErrorCode::Filesystem when it is not set.
std::filesystem::path homePath();

/// The standard temporary directory. Raises ErrorCode::Filesystem when there is none.
std::filesystem::path tempDirectoryPath();

/// A path made of `model` with each "%" replaced by a random hexadecimal digit. Nothing is created.
std::filesystem::path uniquePath(const std::string &model);

/// The home directories of the members of the group "users", in the group's order: the directories
/// "home/NAME" below the root prefix, where they exist. Where the password database has a user's home does
/// not matter. Raises ErrorCode::Internal when the group database does not answer.
std::vector<std::filesystem::path> usersHomes();

} // namespace Common
