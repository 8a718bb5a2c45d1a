#include "kelp/core/common/error-table.h"

namespace Common {

namespace {

template<class Map, class Key>
auto valueOr(const Map &map, const Key &key, const typename Map::mapped_type &fallback) {
    const auto found = map.find(key);
    return found == map.end() ? fallback : found->second;
}

std::string_view behindLastFullStop(std::string_view name) {
    return name.substr(name.rfind('.') + 1);
}

} // namespace

ErrorTable::ErrorTable(std::span<const ErrorRow> rows, std::int32_t fallback) : fallback_(fallback) {
    for (const ErrorRow &row : rows) {
        names_.emplace(row.code, row.name);
        messages_.emplace(row.code, row.message);
        codes_.emplace(row.name, row.code);
    }
}

std::string ErrorTable::message(std::int32_t code) const {
    return std::string(valueOr(messages_, code, messages_.at(fallback_)));
}

ErrorDescription ErrorTable::describeCode(std::int32_t code) const {
    const std::string_view name = valueOr(names_, code, names_.at(fallback_));
    return {code, std::string(name), std::string(behindLastFullStop(name))};
}

ErrorDescription ErrorTable::describeName(std::string_view name) const {
    return {valueOr(codes_, name, fallback_), {}, std::string(name)};
}

} // namespace Common
