#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <algorithm>
#include <utility>

namespace Configuration {

void PatternSet::add(PatternEntry entry) {
    struct Add {
        PatternSet &set;
        void operator()(Pattern &&pattern) const { set.patterns_.push_back(std::move(pattern)); }
        void operator()(std::string &&text) const { set.strings_.insert(std::move(text)); }
    };
    std::visit(Add{*this}, std::move(entry));
}

bool PatternSet::contains(std::string_view text) const {
    return strings_.contains(text) ||
           std::ranges::any_of(patterns_, [&](const Pattern &pattern) { return pattern.matches(text); });
}

} // namespace Configuration
