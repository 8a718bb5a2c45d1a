#pragma once

#include <cstddef>
#include <cstdint>

namespace KelpCtl {

/// The processors that this process may use: its affinity mask, bounded by cpu.max of its control group and
/// those above. One at least.
std::size_t usableProcessors();

/// The bytes of memory that this process may still take: the system's available memory, bounded by its
/// control group and those above. In a group that is memory.max without the memory in use, except for
/// inactive page cache, which the kernel gives up. 0 if unknown.
std::uint64_t usableMemory();

} // namespace KelpCtl
