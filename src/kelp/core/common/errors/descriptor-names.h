#pragma once

#include <string>

namespace Common {

/// Replaces "/proc/self/fd/N" in a text by names. Calls that take only paths reach open directories and files
/// that way. The number tells a reader nothing, and is another file's by then.
std::string withNames(std::string text);

} // namespace Common
