#pragma once

#include "kelpctl/validate/package-report.h"

#include <string>
#include <string_view>

namespace KelpCtl {

/// A report as bytes, for another process of this very program; without its lines.
std::string packed(const PackageReport &report);

/// The report of such bytes. Whoever reads a hostile package may be made to say anything: raises
/// std::runtime_error for bytes that are no report.
PackageReport unpacked(std::string_view bytes);

} // namespace KelpCtl
