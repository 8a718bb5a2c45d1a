#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Common {

/// An error code in the form in which it crosses a process boundary.
struct ErrorDescription {
    std::int32_t code = 0;
    std::string name;      ///< The reverse-domain error name, "io.tvk.KELP.Error.Internal".
    std::string shortName; ///< What stands behind the name's last full stop, or the whole name without one.
};

/// One assigned code of an error category.
struct ErrorRow {
    std::int32_t code;
    std::string_view name;
    std::string_view message;
};

/// The look-ups behind an error category: code to name, code to message, name to code. A key that no row
/// holds never fails; it yields what the fallback code yields. Immutable once built.
class ErrorTable {
public:
    /// Takes rows that outlive the table. `fallback` must be the code of one of them.
    ErrorTable(std::span<const ErrorRow> rows, std::int32_t fallback);

    std::string message(std::int32_t code) const;

    /// The description keeps `code` as given, also when no row holds it and the names are the fallback's.
    ErrorDescription describeCode(std::int32_t code) const;

    /// Looks the full name up. The given name comes back in `shortName` and `name` stays empty: readers of
    /// the wire format rely on this difference between the two directions.
    ErrorDescription describeName(std::string_view name) const;

private:
    std::int32_t fallback_;
    std::unordered_map<std::int32_t, std::string_view> names_;
    std::unordered_map<std::int32_t, std::string_view> messages_;
    std::unordered_map<std::string_view, std::int32_t> codes_;
};

} // namespace Common
