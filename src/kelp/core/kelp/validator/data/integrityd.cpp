#include "kelp/core/kelp/validator/data/integrityd.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <json-glib/json-glib.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace Validator {

Integrityd::Integrityd(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool Integrityd::canValidate(const std::string &path, const std::string &) {
    return path == "/etc/integrityd/config.d/" + meta_->name() + ".json";
}

void Integrityd::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    // A package may let only its own files be watched: those of the system change without it.
    const auto watched = readWatchedFiles(realPath_);
    if (!watched)
        logger_->log(IntegritydRule::InvalidJson);
    else if (!std::ranges::all_of(*watched, [this](const std::string &file) { return meta_->holds(file); }))
        logger_->log(IntegritydRule::ContentMismatch);
}

namespace {

/// Several times what a package of fifty thousand files would need. json-glib takes some hundred and fifty
/// bytes of memory for each value.
constexpr std::size_t longestIntegrityFile = std::size_t(4) << 20;
constexpr std::ptrdiff_t mostValues = 200'000;
constexpr std::string_view prefixes[] = {"file:", "elf:"};
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

template<class Object, auto release>
struct Release {
    void operator()(Object *object) const { release(object); }
};
using Parser = std::unique_ptr<JsonParser, Release<void, g_object_unref>>;

Parser parse(std::string_view text) {
    Parser parser(json_parser_new());
    if (!json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()), nullptr))
        return nullptr;
    return parser;
}

/// After the first value json-glib takes only objects and arrays: a bare word there spoils the whole text.
bool isContainer(const Parser &parser) {
    JsonNode *root = parser ? json_parser_get_root(parser.get()) : nullptr;
    return root != nullptr && !JSON_NODE_HOLDS_VALUE(root) && !JSON_NODE_HOLDS_NULL(root);
}

/// Whether the text has no value: json-glib takes it as the end of another.
bool isEmpty(const Parser &parser) {
    return parser && json_parser_get_root(parser.get()) == nullptr;
}

/// Whether the text is short, and has few values: all but the first of a list or object follow a comma, and
/// the first a bracket. Commas and brackets in strings and comments count too.
bool isBearable(std::string_view text) {
    return text.size() <= longestIntegrityFile &&
           std::ranges::count_if(text, [](char c) { return c == ',' || c == '[' || c == '{'; }) <= mostValues;
}

/// The first root of the text, which json-glib would give, if it accepts the others as well.
Parser parseFirst(std::string_view text) {
    // Bounds are checked before any parsing: json-glib's stack and memory grow with the text.
    const auto pieces = isBearable(text) ? splitJsonRoots(text) : std::nullopt;
    if (!pieces || pieces->empty())
        return nullptr;
    const bool hasOnlyContainers =
        std::all_of(pieces->begin() + 1, pieces->end(), [](std::string_view piece) {
            // json-glib passes over this mark only at the beginning of the file.
            if (piece.starts_with(byteOrderMark))
                return false;
            const Parser parser = parse(piece);
            return isContainer(parser) || isEmpty(parser);
        });
    if (!hasOnlyContainers)
        return nullptr;
    return parse(pieces->front());
}

std::string watchedFile(JsonNode *element) {
    // For anything but a text json-glib gives null, which cannot become a view.
    if (!JSON_NODE_HOLDS_VALUE(element) || json_node_get_value_type(element) != G_TYPE_STRING)
        return {};
    std::string_view text = json_node_get_string(element);
    // Removes only one prefix: "file:elf:/a" becomes the path "elf:/a", which no package has.
    for (const std::string_view prefix : prefixes) {
        if (text.starts_with(prefix))
            return std::string(text.substr(prefix.size()));
    }
    return std::string(text);
}

} // namespace

std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path) {
    const auto file = MappedFile::open(path);
    const Parser parser = file ? parseFirst(file->bytes()) : nullptr;
    JsonNode *root = parser ? json_parser_get_root(parser.get()) : nullptr;
    if (root == nullptr || !JSON_NODE_HOLDS_OBJECT(root))
        return std::nullopt;
    // Not read as an array at once: for null or another type json-glib would give none. Then a configuration
    // that the daemon cannot read would seem to watch nothing.
    JsonNode *watch = json_object_get_member(json_node_get_object(root), "watch");
    if (watch == nullptr)
        return std::vector<std::string>();
    if (!JSON_NODE_HOLDS_ARRAY(watch))
        return std::nullopt;

    JsonArray *array = json_node_get_array(watch);
    std::vector<std::string> files;
    for (guint i = 0; i < json_array_get_length(array); ++i)
        files.push_back(watchedFile(json_array_get_element(array, i)));
    return files;
}

void appendWatchRules(Rules &rules) {
    for (const std::string_view prefix : {prefixes[0], prefixes[1], std::string_view()})
        rules.push_back({"watch", "allowed", std::string(prefix) + "/PATH"});
}

namespace {

constexpr std::size_t deepestNesting = 512;
constexpr std::size_t mostRoots = 1000;

/// After the next `end` from `from` on; the end of the text when there is none.
std::size_t behind(std::string_view text, std::string_view end, std::size_t from) {
    const std::size_t found = text.find(end, from);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

/// A backslash includes the next character, which may be beyond the end of the text.
std::size_t behindEscapedString(std::string_view text, std::size_t from) {
    while (from < text.size() && text[from] != '"')
        from += text[from] == '\\' ? std::size_t(2) : 1;
    return std::min(from + 1, text.size());
}

/// After the string, the comment or the single character that begins at `from`.
/// Brackets in strings and comments must not count: they could end a value early, or hide how deep it is.
std::size_t behindToken(std::string_view text, std::size_t from) {
    switch (text[from]) {
    case '"':
        return behindEscapedString(text, from + 1);
    case '\'':
        return behind(text, "'", from + 1);
    case '/':
        return text.substr(from, 2) == "/*" ? behind(text, "*/", from + 2) : behind(text, "/", from + 1);
    default:
        return from + 1;
    }
}

/// After what may end a value, as in "var x = {};".
std::size_t behindEnd(std::string_view text, std::size_t from) {
    return std::min(text.find_first_not_of(" \t\r\n;", from), text.size());
}

} // namespace

std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text) {
    std::vector<std::string_view> roots;
    std::size_t depth = 0;
    std::size_t begin = 0;
    // Both kinds of bracket count alike, and a surplus one is skipped: json-glib checks later whether they
    // match.
    for (std::size_t at = 0; at < text.size() && depth <= deepestNesting && roots.size() <= mostRoots;) {
        const char first = text[at];
        at = behindToken(text, at);
        if (first == '{' || first == '[')
            ++depth;
        if ((first != '}' && first != ']') || depth == 0 || --depth > 0)
            continue;
        at = behindEnd(text, at);
        roots.push_back(text.substr(begin, at - begin));
        begin = at;
    }
    if (depth > deepestNesting || roots.size() > mostRoots)
        return std::nullopt;
    if (begin < text.size())
        roots.push_back(text.substr(begin));
    return roots;
}

} // namespace Validator
