#pragma once

#include <array>

/// The names of the store's own files in a version's directory. Versions on all machines have files of these
/// names: renamed here, those would be lost.
namespace Core::KELP::StoreName {

inline constexpr const char *descriptor = "velura.pkg";
inline constexpr const char *symlinkList = "symlink.list";
inline constexpr const char *generatedDirList = "generated.dir.list";
inline constexpr const char *contentsList = "contents.list";
inline constexpr const char *publicationPlan = "publication.plan";
inline constexpr const char *resources = "@resources"; ///< A directory.

inline constexpr std::array files = {descriptor, symlinkList, generatedDirList, contentsList,
                                     publicationPlan};

} // namespace Core::KELP::StoreName
