#pragma once

namespace Common {

/// Makes the C library return each block of 128 KiB or more to the system when it is freed. By default, a
/// larger block that is freed raises that limit to its own size. Later blocks below the new limit stay with
/// the process after they are freed, with holes between them. The fixed limit suits a program that reads
/// packages: their headers may take megabytes, and it seldom needs other large blocks.
void giveBackLargeBlocks();

} // namespace Common
