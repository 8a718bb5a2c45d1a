#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace KelpCtl {

/// Where packages are unpacked in memory.
constexpr const char *memoryDirectory = "/dev/shm";

/// Whether to unpack a package of that size there, with `jobs` packages at once: TMPDIR names no other place,
/// and half of the free memory suffices. Others go to the directory for temporary files.
bool fitsMemory(std::uint64_t size, std::size_t jobs);

/// The places that are in use, at most both.
std::vector<std::filesystem::path> workspacePlaces();

} // namespace KelpCtl
