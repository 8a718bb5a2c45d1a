#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace Configuration {

namespace {

const Pattern &compiled(std::string_view expression) {
    // Kept, since a profile is built for each package and has some sixty expressions. Not guarded: one thread
    // judges packages.
    static std::unordered_map<std::string_view, Pattern> patterns;
    const auto found = patterns.find(expression);
    return found != patterns.end() ? found->second
                                   : patterns.emplace(expression, Pattern(expression)).first->second;
}

} // namespace

void PatternSet::add(PatternEntry entry) {
    struct Add {
        PatternSet &set;
        void operator()(Pattern &&pattern) const { set.patterns_.push_back(std::move(pattern)); }
        void operator()(std::string &&text) const { set.strings_.insert(std::move(text)); }
    };
    std::visit(Add{*this}, std::move(entry));
}

bool PatternSet::contains(std::string_view text) const {
    // Does not copy the text: a name may have megabytes.
    return strings_.contains(text) ||
           std::ranges::any_of(patterns_, [&](const Pattern &pattern) { return pattern.matches(text); });
}

void addStrings(PatternSet &set, Rows rows) {
    for (const std::string_view row : rows)
        set.add(std::string(row));
}

void addExpressions(PatternSet &set, Rows rows) {
    for (const std::string_view row : rows)
        set.add(compiled(row));
}

std::vector<std::string> PatternSet::texts() const {
    std::vector<std::string> texts(strings_.begin(), strings_.end());
    // No string of a list begins and ends with a slash, so people can tell the two apart.
    for (const Pattern &pattern : patterns_)
        texts.push_back('/' + pattern.expression() + '/');
    return texts;
}

} // namespace Configuration
