#include "kelp/core/kelp/validator/hardening/desktop-hardening.h"

#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/code-points.h"
#include "kelp/core/kelp/validator/hardening/forbidden-mime-type.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

#include <algorithm>
#include <cstdio>

namespace Validator {

namespace {

constexpr std::string_view shownKeys[] = {"Name", "Comment"};
constexpr std::string_view typesKey = "MimeType";

constexpr char32_t lineSeparator = 0x2028;
constexpr char32_t paragraphSeparator = 0x2029;
constexpr char32_t endOfEmbedding = 0x202c;
constexpr char32_t endOfIsolate = 0x2069;

bool isEmbedding(char32_t c) {
    return c >= 0x202a && c <= 0x202e && c != endOfEmbedding;
}
bool isIsolate(char32_t c) {
    return c >= 0x2066 && c < endOfIsolate;
}

std::string_view trimmed(std::string_view text) {
    takeLeading(text, isSpace);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// A key with or without a language in brackets.
bool isFormOf(std::string_view key, std::string_view name) {
    return key.starts_with(name) && (key.size() == name.size() || key[name.size()] == '[');
}

bool isForbidden(char32_t c) {
    return (isControl(c) && c != '\t') || c == lineSeparator || c == paragraphSeparator;
}

/// The first character of a line that may not stand there, if there is one.
std::optional<char32_t> forbiddenIn(std::string_view line) {
    while (!line.empty())
        if (const auto character = takeCodePoint(line); character && isForbidden(*character))
            return character;
    return std::nullopt;
}

std::string nameOf(char32_t character) {
    char name[16];
    std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(character));
    return name;
}

/// The next element of a list. What a backslash does to a semicolon differs from reader to reader, so that it
/// does nothing here; behind any other letter it makes a blank, if it makes anything.
std::string takeElement(std::string_view &list) {
    std::string element(takeLeading(list, [](char c) { return c != ';'; }));
    list.remove_prefix(list.empty() ? 0 : 1);
    for (std::size_t at = 0; (at = element.find('\\', at)) != std::string::npos; ++at)
        element.replace(at, 2, " ");
    return element;
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
    const auto file = MappedFile::open(realPath);
    for (std::string_view rest = file ? file->bytes() : std::string_view(); !rest.empty();) {
        std::string_view line = takeLeading(rest, [](char c) { return c != '\n'; });
        const bool isEnded = !rest.empty();
        rest.remove_prefix(isEnded ? 1 : 0);
        if (isEnded && line.ends_with('\r'))
            line.remove_suffix(1);
        if (!trimmed(line).starts_with('#'))
            checkLine(line);
    }
}

void DesktopHardening::checkLine(std::string_view line) {
    if (const auto character = hasReported_ ? std::nullopt : forbiddenIn(line)) {
        hasReported_ = true;
        logger_->log(HardeningRule::DesktopBytes, {path_, nameOf(*character)});
    }
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
            if (const std::string type = takeElement(value); isForbiddenMimeType(*config_, type))
                logger_->log(HardeningRule::ForbiddenMimeType, {type});
}

Direction directionOf(std::string_view text) {
    std::u32string open;
    bool isTouched = false;
    while (!text.empty()) {
        const char32_t c = takeCodePoint(text).value_or(0);
        if (isEmbedding(c) || isIsolate(c))
            open += c;
        else if (c == endOfEmbedding && !open.empty() && isEmbedding(open.back()))
            open.pop_back();
        else if (c == endOfIsolate && std::ranges::any_of(open, isIsolate))
            // With what was begun within.
            open.resize(open.find_last_of(U"\u2066\u2067\u2068"));
        isTouched = isTouched || isEmbedding(c) || isIsolate(c) || c == endOfEmbedding || c == endOfIsolate;
    }
    if (!open.empty())
        return Direction::Turned;
    return isTouched ? Direction::Restored : Direction::Plain;
}

} // namespace Validator
