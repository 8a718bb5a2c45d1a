#pragma once

#include "kelpctl/validate/package-report.h"

#include <string>
#include <string_view>

namespace KelpCtl {

/// A report as bytes, for another process of this very program; without its lines.
std::string packed(const PackageReport &report);

/// The report of such bytes. A hostile package may have taken over its judge: raises std::runtime_error for
/// bytes that are no report.
PackageReport unpacked(std::string_view bytes);

} // namespace KelpCtl
