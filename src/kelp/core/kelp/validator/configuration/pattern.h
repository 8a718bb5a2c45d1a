#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Configuration {

/// A regular expression in the ECMAScript grammar, for text out of a package. Matching takes bounded stack
/// and memory: a text that exhausts the limits does not match. Copies share the compiled expression.
class Pattern {
public:
    /// Throws std::invalid_argument for a malformed expression.
    explicit Pattern(std::string_view expression);

    const std::string &expression() const;

    /// Whether the expression matches the whole text.
    bool matches(std::string_view text) const;

    /// The capture groups of a match of the whole text, the first one at index 0; an unused group is empty.
    /// Nothing when there is no match.
    std::optional<std::vector<std::string>> captures(std::string_view text) const;

private:
    struct Code;
    std::shared_ptr<const Code> code_;
};

} // namespace Configuration
