#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Validator {

/// A dotted version, a number for each component.
using Version = std::vector<std::int32_t>;

/// Reads one or more runs of decimal digits joined by full stops. Empty when the text is anything else, or
/// when a number does not fit.
Version parseVersion(std::string_view text);

/// Negative, zero or positive as `a` is less than, equal to or greater than `b`. Of two versions of which one
/// begins with the other the longer is the greater: "5.0" is less than "5.0.0".
int compareVersions(const Version &a, const Version &b);

/// Whether there is one at least, and each of them parses.
bool areVersions(const std::vector<std::string_view> &versions);

/// Whether the system has what a package needs that names, for each release line, the first version that has
/// it: the system is at least the greatest of these, or at least another one and of its release line, which
/// is all but its last component. So "5.0.1" and "4.0.2.5" accept 5.0.1 and up, and 4.0.2.5 up to but
/// not 4.0.3.
///
/// False unless areVersions(). Raises std::out_of_range when a version of one
/// component, which names no release line, would have to be held against a system that is at least that but
/// less than the greatest.
bool isCompatible(std::string_view osVersion, const std::vector<std::string_view> &versions);

} // namespace Validator
