#pragma once

#include <string>

namespace KelpCtl {

/// Text for a JSON string, which has to be UTF-8: bytes that belong to no character become U+FFFD.
std::string jsonText(const std::string &text);

} // namespace KelpCtl
