#pragma once

#include <cstddef>
#include <cstdint>

namespace KelpCtl {

/// The processors that this process may use: its affinity mask, bounded by cpu.max of its control group and
/// those above. One at least.
std::size_t usableProcessors();

/// The bytes of memory that this process may still take. That is the least of the system's available memory
/// and of what each of its control groups leaves: its own group and those above. A group leaves its
/// memory.max minus the memory in use; a group without a memory.max sets no bound. Inactive page cache counts
/// as not in use, since the kernel gives it up. 0 if nothing is left, or the system's available memory is
/// unknown.
std::uint64_t usableMemory();

} // namespace KelpCtl
