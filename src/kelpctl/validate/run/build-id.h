#pragma once

#include <string>

namespace KelpCtl {

/// The id of this build of the program, in hexadecimal digits: builds with the same id judge alike. Empty if
/// it was linked without one.
std::string buildId();

} // namespace KelpCtl
