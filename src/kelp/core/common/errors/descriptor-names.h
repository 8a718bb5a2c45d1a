#pragma once

#include <string>

namespace Common {

/// The text with names in place of "/proc/self/fd/N", by which open directories and files are reached where a
/// call takes paths alone. The number tells a reader nothing, and is somebody else's by the time he reads it.
std::string withNames(std::string text);

} // namespace Common
