#include "kelp/core/common/errors/category-of-rows.h"

namespace Common {

namespace {

template<class Map, class Key>
auto valueOr(const Map &map, const Key &key, const typename Map::mapped_type &fallback) {
    const auto found = map.find(key);
    return found == map.end() ? fallback : found->second;
}

/// Without a full stop npos + 1 is 0, and the whole name comes back.
std::string_view behindLastFullStop(std::string_view name) {
    return name.substr(name.rfind('.') + 1);
}

} // namespace

RowsCategory::RowsCategory(const char *name, std::span<const ErrorRow> rows, std::int32_t fallback) :
    name_(name), fallback_(fallback) {
    for (const ErrorRow &row : rows) {
        names_.emplace(row.code, row.name);
        messages_.emplace(row.code, row.message);
        codes_.emplace(row.name, row.code);
    }
}

std::string RowsCategory::message(int code) const {
    return std::string(valueOr(messages_, code, messages_.at(fallback_)));
}

ErrorDescription RowsCategory::describeCode(std::int32_t code) const {
    const std::string_view name = valueOr(names_, code, names_.at(fallback_));
    return {code, std::string(name), std::string(behindLastFullStop(name))};
}

ErrorDescription RowsCategory::describeName(std::string_view name) const {
    return {valueOr(codes_, name, fallback_), {}, std::string(name)};
}

} // namespace Common
