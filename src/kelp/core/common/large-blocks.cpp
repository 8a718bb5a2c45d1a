#include "kelp/core/common/large-blocks.h"

#include <malloc.h>

namespace Common {

void giveBackLargeBlocks() {
    constexpr int largeBlock = 128 << 10;
    ::mallopt(M_MMAP_THRESHOLD, largeBlock);
}

} // namespace Common
