#pragma once

#include <string>
#include <string_view>

namespace KelpCtl {

/// Text for a JSON string, which has to be UTF-8: bytes that belong to no character become U+FFFD.
std::string jsonText(std::string_view text);

} // namespace KelpCtl
