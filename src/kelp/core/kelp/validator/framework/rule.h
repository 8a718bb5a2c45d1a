#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// One rule of a checker, for people. In the text ID stands for the name of the package, NAME for any name,
/// and "*" for any text.
struct Rule {
    std::string_view topic;  ///< What kind of thing it is about, "key" for example.
    std::string_view status; ///< "allowed", "required", "optional", "unstable", "deprecated", "reserved", ...
    std::string text;
};

using Rules = std::vector<Rule>;

/// Appends a rule for each of the texts, with `prefix` in front.
template<class Texts>
void appendRules(Rules &rules, std::string_view topic, std::string_view status, const Texts &texts,
                 std::string_view prefix = {}) {
    for (const auto &text : texts)
        rules.push_back({topic, status, std::string(prefix) + std::string(text)});
}

} // namespace Validator
