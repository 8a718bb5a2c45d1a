#pragma once

#include <string_view>

namespace Core::KELP {

/// Whether a key file holds more names than its readers can bear: more than fifty thousand, as each costs
/// them hundreds of bytes, or so many of one hash that reading it would take time by the square of its size.
/// GLib's tables of groups and keys use a hash for which everybody can make such names.
bool isNameFlood(std::string_view text);

} // namespace Core::KELP
