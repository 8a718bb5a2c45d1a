#pragma once

namespace Common {

/// Has large blocks of memory go back to the system when they are freed: for a program that reads headers of
/// packages, and has little other use for such blocks. Left to itself the C library keeps ever larger ones
/// from the first header on, which may have megabytes, and the holes of the later ones stay.
void giveBackLargeBlocks();

} // namespace Common
