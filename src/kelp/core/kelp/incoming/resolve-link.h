#pragma once

#include <filesystem>
#include <functional>
#include <utility>

namespace Core::KELP {

/// Translates a system path to a path in the package's tree.
using PathTranslation = std::function<std::filesystem::path(const std::filesystem::path &)>;

/// Where a link of a package goes and where it shall lead, so that a link within the package stays one within
/// the version: the place below `destination`, the staging directory, and the target.
///
/// `path` is the system path of the link and `target` its text. A plain relative name stays as it is. An
/// absolute target, and a relative one that begins with "." or is empty, become absolute paths below
/// `versionDirectory`, which may be relative itself, where the translation puts them. An empty translation
/// throws std::bad_function_call.
std::pair<std::filesystem::path, std::filesystem::path>
resolveLink(const std::filesystem::path &path, const std::filesystem::path &target,
            const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
            const PathTranslation &translate);

} // namespace Core::KELP
