#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace Core::KELP {

/// The file that names a package from before the first step of its removal to behind the last.
std::filesystem::path removalFile();

/// The package of which the removal was begun and not completed.
std::optional<std::string> unfinishedRemoval();

} // namespace Core::KELP
