#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Validator {

/// A dotted version, a number for each component.
using Version = std::vector<std::int32_t>;

/// Reads one or more runs of decimal digits joined by full stops. Empty for any other text, or when a number
/// does not fit.
Version parseVersion(std::string_view text);

/// Negative, zero or positive as `a` is less than, equal to or greater than `b`. If one begins with the
/// other, the longer is the greater: "5.0" is less than "5.0.0".
int compareVersions(const Version &a, const Version &b);

/// Whether there is at least one, and each parses.
bool areVersions(const std::vector<std::string_view> &versions);

/// Whether the system of version `osVersion` suits a package. `versions` has the first suitable version of
/// each release line that the package supports. The release line of a version is the version without its last
/// component. The greatest of `versions` admits itself and all later systems. Each other one admits itself
/// and the later systems of its own release line. So "5.0.1" and "4.0.2.5" admit 5.0.1 and later, and 4.0.2.5
/// and later, but not 4.0.3.
///
/// False unless areVersions(). A version of one component names no release line. If the answer depends on the
/// release line of such a version, raises std::out_of_range.
bool isCompatible(std::string_view osVersion, const std::vector<std::string_view> &versions);

} // namespace Validator
