#include "kelp/core/kelp/validator/configuration/rows.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <string>
#include <unordered_map>

namespace Configuration {

namespace {

const Pattern &compiled(std::string_view expression) {
    static std::unordered_map<std::string_view, Pattern> patterns;
    const auto found = patterns.find(expression);
    return found != patterns.end() ? found->second
                                   : patterns.emplace(expression, Pattern(expression)).first->second;
}

} // namespace

void addStrings(PatternSet &set, Rows rows) {
    for (const std::string_view row : rows)
        set.add(std::string(row));
}

void addExpressions(PatternSet &set, Rows rows) {
    for (const std::string_view row : rows)
        set.add(compiled(row));
}

} // namespace Configuration
