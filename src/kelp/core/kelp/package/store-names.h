#pragma once

#include <array>
#include <string_view>

/// The names of the store's own files, and of those that it leaves alone. The stores of all machines have
/// files of these names: renamed here, those would be lost.
namespace Core::KELP::StoreName {

// In a package's directory.

inline constexpr const char *current = "current";
inline constexpr const char *next = "next";
inline constexpr const char *previous = "prev";
inline constexpr std::array<std::string_view, 3> links = {current, next, previous};

/// Left alone; those in a version's directory go with the version.
inline constexpr std::array<std::string_view, 3> reserved = {".install", ".upgrade", ".remove"};

// In a version's directory.

inline constexpr const char *descriptor = "velura.pkg";
inline constexpr const char *symlinkList = "symlink.list";
inline constexpr const char *generatedDirList = "generated.dir.list";
inline constexpr const char *contentsList = "contents.list";
inline constexpr const char *publicationPlan = "publication.plan";
inline constexpr const char *resources = "@resources";   ///< A directory.
inline constexpr const char *manifest = "manifest.json"; ///< Other programs look for it.

/// The files that the store writes itself.
inline constexpr std::array files = {descriptor, symlinkList, generatedDirList, contentsList,
                                     publicationPlan};

} // namespace Core::KELP::StoreName
