#pragma once

#include <algorithm>
#include <ranges>
#include <span>
#include <string_view>

namespace Validator {

/// A key of a desktop file with the values that it may have.
struct ValueRow {
    std::string_view key;
    std::span<const std::string_view> values;
};

constexpr bool isOneOf(std::span<const std::string_view> texts, std::string_view text) {
    return std::ranges::find(texts, text) != texts.end();
}

/// The row of a key, or null.
constexpr const ValueRow *findRow(std::span<const ValueRow> table, std::string_view key) {
    const auto found = std::ranges::find(table, key, &ValueRow::key);
    return found == table.end() ? nullptr : &*found;
}

} // namespace Validator
