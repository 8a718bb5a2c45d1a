#include "kelp/core/kelp/validator/data/integrity-file.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <json-glib/json-glib.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace Validator {

namespace {

/// Several times what a package of fifty thousand files would need. json-glib takes some hundred and fifty
/// bytes of memory for each value.
constexpr std::size_t longestIntegrityFile = std::size_t(4) << 20;
constexpr std::ptrdiff_t mostValues = 200'000;
constexpr std::string_view prefixes[] = {"file:", "elf:"};

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

} // namespace Validator
