#pragma once

#include <string>

namespace KelpCtl {

/// What tells this build of the program from others, in hexadecimal digits: two with the same one judge
/// alike. Empty when it was linked without.
std::string buildId();

} // namespace KelpCtl
