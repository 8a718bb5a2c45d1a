#pragma once

#include <span>
#include <string_view>

namespace Configuration {

class PatternSet;

/// Rows of an allow-list, either all exact strings or all regular expressions.
using Rows = std::span<const std::string_view>;

void addStrings(PatternSet &set, Rows rows);

/// The rows must last as long as the process: each is compiled once, whatever number of profiles is built
/// from it.
void addExpressions(PatternSet &set, Rows rows);

} // namespace Configuration
