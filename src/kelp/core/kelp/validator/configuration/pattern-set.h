#pragma once

#include "kelp/core/kelp/validator/configuration/pattern.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <variant>
#include <vector>

namespace Configuration {

/// One row of an allow-list.
using PatternEntry = std::variant<Pattern, std::string>;

/// An allow-list: exact strings and regular expressions that match whole strings.
class PatternSet {
public:
    /// Skips a known string; appends an expression. Throws std::bad_variant_access for a valueless entry.
    void add(PatternEntry entry);

    /// Whether the text is one of the strings or matches one of the expressions. Checks the strings first.
    bool contains(std::string_view text) const;

    /// All of it for people: each string, and each expression between slashes.
    std::vector<std::string> texts() const;

    /// How many strings and expressions the set holds.
    std::size_t size() const { return strings_.size() + patterns_.size(); }

private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    std::unordered_set<std::string, Hash, std::equal_to<>> strings_;
    std::vector<Pattern> patterns_;
};

/// Rows of an allow-list, either all exact strings or all regular expressions.
using Rows = std::span<const std::string_view>;

/// Copies the rows.
void addStrings(PatternSet &set, Rows rows);

/// The rows must last as long as the process: each is compiled once, for any number of profiles.
void addExpressions(PatternSet &set, Rows rows);

} // namespace Configuration
