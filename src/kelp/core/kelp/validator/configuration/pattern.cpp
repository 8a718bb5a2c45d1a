#define PCRE2_CODE_UNIT_WIDTH 8

#include "kelp/core/kelp/validator/configuration/pattern.h"

#include <pcre2.h>

#include <stdexcept>

namespace Configuration {

namespace {

/// A few backtracking steps for each byte of the longest sensible text; some tenths of a second at most.
constexpr std::uint32_t matchLimit = 10'000'000;
constexpr std::uint32_t depthLimit = 1'000'000;
constexpr std::uint32_t heapLimitInKibibytes = 64 * 1024;

/// The whole text must match, and "$" is its very end. The other options follow ECMAScript where Perl's
/// grammar differs, since the lists were written for std::regex. That one is not used: it recurses for each
/// character, and a long text overruns its stack. As in std::regex, bytes above 127 are characters of their
/// own, so no text is invalid.
constexpr std::uint32_t options = PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOLLAR_ENDONLY |
                                  PCRE2_NEVER_UTF | PCRE2_ALLOW_EMPTY_CLASS | PCRE2_ALT_BSUX;

template<auto release>
struct Release {
    template<class Object>
    void operator()(Object *object) const {
        release(object);
    }
};

using CompileContext = std::unique_ptr<pcre2_compile_context, Release<pcre2_compile_context_free>>;
using MatchContext = std::unique_ptr<pcre2_match_context, Release<pcre2_match_context_free>>;
using MatchData = std::unique_ptr<pcre2_match_data, Release<pcre2_match_data_free>>;

/// Never null, as an empty view may be.
PCRE2_SPTR units(std::string_view text) {
    return reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
}

pcre2_code *compile(std::string_view expression) {
    const CompileContext context(pcre2_compile_context_create(nullptr));
    // "." matches neither line feed nor carriage return.
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANYCRLF);
    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_code *code =
        pcre2_compile(units(expression), expression.size(), options, &error, &offset, context.get());
    // Expressions are our own rows, and never come out of a package.
    if (code == nullptr)
        throw std::invalid_argument("Malformed regular expression: " + std::string(expression));
    return code;
}

/// One context for the process: it is only read, and each match has its own data.
MatchContext limits() {
    MatchContext context(pcre2_match_context_create(nullptr));
    pcre2_set_match_limit(context.get(), matchLimit);
    pcre2_set_depth_limit(context.get(), depthLimit);
    pcre2_set_heap_limit(context.get(), heapLimitInKibibytes);
    return context;
}

/// The result of a match, or null when there is none.
MatchData match(const pcre2_code *code, std::string_view text) {
    static const MatchContext context = limits();
    MatchData data(pcre2_match_data_create_from_pattern(code, nullptr));
    const int result = pcre2_match(code, units(text), text.size(), 0, 0, data.get(), context.get());
    // Negative for no match and for exhausted limits: in an allow-list both refuse.
    return result > 0 ? std::move(data) : nullptr;
}

} // namespace

struct Pattern::Code {
    std::string expression;
    std::unique_ptr<pcre2_code, Release<pcre2_code_free>> compiled;
};

Pattern::Pattern(std::string_view expression) :
    code_(std::make_shared<const Code>(
        Code{std::string(expression),
             std::unique_ptr<pcre2_code, Release<pcre2_code_free>>(compile(expression))})) {}

const std::string &Pattern::expression() const {
    return code_->expression;
}

bool Pattern::matches(std::string_view text) const {
    return match(code_->compiled.get(), text) != nullptr;
}

std::optional<std::vector<std::string>> Pattern::captures(std::string_view text) const {
    const MatchData data = match(code_->compiled.get(), text);
    if (!data)
        return std::nullopt;
    std::vector<std::string> groups;
    const PCRE2_SIZE *ends = pcre2_get_ovector_pointer(data.get());
    for (std::size_t group = 1; group < pcre2_get_ovector_count(data.get()); ++group) {
        // Only one alternative takes part, but the data has room for all groups.
        const bool tookPart = ends[2 * group] != PCRE2_UNSET;
        groups.emplace_back(tookPart ? text.substr(ends[2 * group], ends[2 * group + 1] - ends[2 * group])
                                     : std::string_view());
    }
    return groups;
}

} // namespace Configuration
