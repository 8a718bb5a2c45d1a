#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>

namespace Common {

/// An error code in the form in which it crosses a process boundary.
struct ErrorDescription {
    std::int32_t code = 0;
    std::string name;      ///< The reverse-domain error name, "io.tvk.KELP.Error.Internal".
    std::string shortName; ///< The part after the name's last full stop, if any; not from describeName().
};

/// One assigned code of an error category.
struct ErrorRow {
    std::int32_t code;
    std::string_view name;
    std::string_view message;
};

/// An error category that is its rows: code to name, code to message, name to code. A key that no row holds
/// never fails; it yields what the fallback code yields. Error conditions play no part. Immutable once built.
class RowsCategory final : public std::error_category {
public:
    /// Takes a name and rows that outlive the category. `fallback` must be the code of one of the rows.
    RowsCategory(const char *name, std::span<const ErrorRow> rows, std::int32_t fallback);

    const char *name() const noexcept override { return name_; }
    std::string message(int code) const override;

    /// The description for a code as another program sent it. It keeps `code` as given, also when no row
    /// holds it and the names are the fallback's.
    ErrorDescription describeCode(std::int32_t code) const;

    /// Looks the full name up. The given name comes back in `shortName` and `name` stays empty: readers of
    /// the wire format rely on this difference between the two directions.
    ErrorDescription describeName(std::string_view name) const;

private:
    const char *name_;
    std::int32_t fallback_;
    std::unordered_map<std::int32_t, std::string_view> names_;
    std::unordered_map<std::int32_t, std::string_view> messages_;
    std::unordered_map<std::string_view, std::int32_t> codes_;
};

/// The error category whose codes are those of the enumeration `Code`. rows() is written once for each, in
/// the source that holds the rows.
template<class Code>
class CategoryOfRows {
public:
    /// The one category object; made at first use, it lives until the process exits.
    static const std::error_category &instance() { return rows(); }

    static std::error_code make(Code code) { return {static_cast<int>(code), instance()}; }

    static ErrorDescription describeCode(std::int32_t code) { return rows().describeCode(code); }
    static ErrorDescription describeName(std::string_view name) { return rows().describeName(name); }

private:
    static const RowsCategory &rows();
};

} // namespace Common
