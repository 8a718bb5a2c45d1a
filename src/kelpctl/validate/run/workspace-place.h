#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace KelpCtl {

/// Where packages are unpacked in memory.
constexpr const char *memoryDirectory = "/dev/shm";

/// Whether a package of that size is unpacked there while `jobs` of them are at once: TMPDIR names no other
/// place, and half of what is left of the memory would do. All others go to the directory for temporary
/// files.
bool fitsMemory(std::uint64_t size, std::size_t jobs);

/// Both places, as far as they are in question.
std::vector<std::filesystem::path> workspacePlaces();

} // namespace KelpCtl
