#pragma once

namespace Common {

/// Makes freed large blocks of memory go back to the system, for a program that reads headers of packages and
/// seldom needs such blocks otherwise. By default the C library keeps ever larger blocks from the first
/// header on, which may have megabytes, and the holes of later ones stay.
void giveBackLargeBlocks();

} // namespace Common
