#pragma once

namespace Common {

/// Makes the C library return each freed block of 128 KiB or more to the system. By default it raises that
/// limit at the first larger block that is freed, keeps such blocks, and leaves holes between them. This
/// suits a program that reads packages: their headers may take megabytes, and it seldom needs other large
/// blocks.
void giveBackLargeBlocks();

} // namespace Common
