#pragma once

#include <cstddef>
#include <cstdint>

namespace KelpCtl {

/// The processors that this process may use: its affinity mask, bounded by cpu.max of its control group and
/// those above. One at least.
std::size_t usableProcessors();

/// The bytes of memory that this process may still take: what the system has available, bounded by what
/// memory.max of its control group and those above leaves beside what they cannot give up. 0 when nobody
/// tells.
std::uint64_t usableMemory();

} // namespace KelpCtl
