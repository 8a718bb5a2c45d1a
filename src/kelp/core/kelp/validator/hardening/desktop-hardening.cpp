#include "kelp/core/kelp/validator/hardening/desktop-hardening.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/code-points.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include <algorithm>
#include <cstdio>

namespace Validator {

namespace {

constexpr std::string_view shownKeys[] = {"Name", "Comment"};
constexpr std::string_view typesKey = "MimeType";

constexpr char32_t endOfEmbedding = 0x202c;
constexpr char32_t endOfIsolate = 0x2069;

bool isEmbedding(char32_t c) {
    return c >= 0x202a && c <= 0x202e && c != endOfEmbedding;
}
bool isOverride(char32_t c) {
    return c == 0x202d || c == 0x202e;
}
bool isIsolate(char32_t c) {
    return c >= 0x2066 && c < endOfIsolate;
}

/// A key with or without a language in brackets.
bool isFormOf(std::string_view key, std::string_view name) {
    return key.starts_with(name) && (key.size() == name.size() || key[name.size()] == '[');
}

/// For some readers, which would take the rest of a comment for a line of the file.
bool endsLine(char32_t c) {
    return (c >= '\n' && c <= '\r') || (c >= 0x1c && c <= 0x1e) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isForbidden(char32_t c) {
    return (isControl(c) && c != '\t') || endsLine(c);
}

/// The first forbidden character of a line, if there is one.
std::optional<char32_t> forbiddenIn(std::string_view line) {
    const bool isComment = trimmed(line).starts_with('#');
    while (!line.empty())
        if (const auto c = takeCodePoint(line); c && (isComment ? endsLine(*c) : isForbidden(*c)))
            return c;
    return std::nullopt;
}

std::string nameOf(char32_t character) {
    char name[16];
    std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(character));
    return name;
}

/// The next element of a list. Readers differ on a backslash before a semicolon, so it has no effect here.
std::string_view takeElement(std::string_view &list) {
    const std::string_view element = takeLeading(list, [](char c) { return c != ';'; });
    list.remove_prefix(list.empty() ? 0 : 1);
    return element;
}

/// The text without backslashes. A backslash and one of `blanks` become a blank, as for some readers.
std::string unescaped(std::string_view text, std::string_view blanks) {
    std::string result;
    bool isEscaped = false;
    for (const char c : text) {
        if (c != '\\')
            result += isEscaped && blanks.find(c) != std::string_view::npos ? ' ' : c;
        isEscaped = c == '\\';
    }
    return result;
}

constexpr std::string_view escapedBlanks = "sntr";

bool isForbiddenElement(const Config &config, std::string_view element) {
    return isForbiddenMimeType(config, unescaped(element, escapedBlanks)) ||
           isForbiddenMimeType(config, unescaped(element, {}));
}

} // namespace

DesktopHardening::DesktopHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                                   std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool DesktopHardening::canValidate(const std::string &path, const std::string &) {
    return path == config_->applicationsDir() + meta_->name() + ".desktop";
}

void DesktopHardening::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    hasReported_ = false;
    // The checker of desktop files reports an unbearable one as broken.
    const std::string text = Core::KELP::readDesktopText(realPath).value_or("");
    for (std::string_view rest = text; !rest.empty();) {
        std::string_view line = takeLeading(rest, [](char c) { return c != '\n'; });
        const bool isEnded = !rest.empty();
        rest.remove_prefix(isEnded ? 1 : 0);
        if (isEnded && line.ends_with('\r'))
            line.remove_suffix(1);
        checkLine(line);
    }
}

void DesktopHardening::checkLine(std::string_view line) {
    if (const auto character = hasReported_ ? std::nullopt : forbiddenIn(line)) {
        hasReported_ = true;
        logger_->log(HardeningRule::DesktopBytes, {path_, nameOf(*character)});
    }
    // A comment's key begins with a mark.
    const std::string_view key = trimmed(takeLeading(line, [](char c) { return c != '='; }));
    if (!line.empty())
        checkValue(key, line.substr(1));
}

void DesktopHardening::checkValue(std::string_view key, std::string_view value) {
    if (std::ranges::any_of(shownKeys, [&](std::string_view name) { return isFormOf(key, name); })) {
        const Direction direction = directionOf(value);
        if (direction == Direction::Turned)
            logger_->log(HardeningRule::DesktopBytes, {path_, key});
        else if (direction == Direction::Restored)
            logger_->log(HardeningRule::DesktopDirection, {path_, key});
    }
    if (isFormOf(key, typesKey))
        while (!value.empty())
            if (const std::string_view type = takeElement(value); isForbiddenElement(*config_, type))
                logger_->log(HardeningRule::ForbiddenMimeType, {type});
}

namespace {

/// The open direction marks of a text, while it is read character by character.
class OpenMarks {
public:
    void take(char32_t c) {
        const bool isOpening = isEmbedding(c) || isIsolate(c);
        isTouched_ = isTouched_ || isOpening || c == endOfEmbedding || c == endOfIsolate;
        isolates_ += isIsolate(c) ? 1U : 0U;
        if (isOpening)
            open_ += c;
        else if (c == endOfEmbedding)
            endEmbedding();
        else if (c == endOfIsolate)
            endIsolate();
    }

    Direction direction() const {
        // An open embedding turns no letters around, and honest files have some.
        const bool isOpen =
            std::ranges::any_of(open_, [](char32_t c) { return isOverride(c) || isIsolate(c); });
        if (isTurned_ || isOpen)
            return Direction::Turned;
        return isTouched_ ? Direction::Restored : Direction::Plain;
    }

private:
    // An end without a beginning ends something around the text.

    void endEmbedding() {
        if (!open_.empty() && isEmbedding(open_.back()))
            open_.pop_back();
        else
            isTurned_ = true;
    }

    /// Also ends marks that were begun within. But older systems know no isolates, and would not end an
    /// override there.
    void endIsolate() {
        if (isolates_ == 0) {
            isTurned_ = true;
            return;
        }
        for (; isEmbedding(open_.back()); open_.pop_back())
            isTurned_ = isTurned_ || isOverride(open_.back());
        open_.pop_back();
        --isolates_;
    }

    std::u32string open_;
    std::size_t isolates_ = 0; ///< Among these.
    bool isTouched_ = false;
    bool isTurned_ = false;
};

} // namespace

Direction directionOf(std::string_view text) {
    OpenMarks marks;
    while (!text.empty())
        marks.take(takeCodePoint(text).value_or(0));
    return marks.direction();
}

} // namespace Validator
