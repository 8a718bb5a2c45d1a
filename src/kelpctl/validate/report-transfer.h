#pragma once

#include "kelpctl/validate/package-report.h"

#include <string>
#include <string_view>
#include <utility>

namespace KelpCtl {

/// What an earlier run has said of a package under a profile, as bytes.
std::string packed(const KnownVerdict &verdict, const std::string &profile);

/// The verdict and the profile of such bytes. Raises as unpacked() does.
std::pair<KnownVerdict, std::string> unpackedKnown(std::string_view bytes);

/// A report as bytes, for another process of this very program; without its lines.
std::string packed(const PackageReport &report);

/// The report of such bytes. Whoever reads a hostile package may be made to say anything: raises
/// std::runtime_error for bytes that are no report.
PackageReport unpacked(std::string_view bytes);

} // namespace KelpCtl
