#pragma once

#include <string_view>

namespace Core::KELP {

/// Whether the names of a key file would overload its readers. More than fifty thousand do, at hundreds of
/// bytes each. So do many names of one hash: reading them takes time by the square of their number. GLib's
/// tables of groups and keys use a hash for which such names are easy to make.
bool isNameFlood(std::string_view text);

} // namespace Core::KELP
