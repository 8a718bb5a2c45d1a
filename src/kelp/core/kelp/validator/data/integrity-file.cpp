#include "kelp/core/kelp/validator/data/integrity-file.h"

#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <json-glib/json-glib.h>

#include <memory>
#include <string_view>

namespace Validator {

namespace {

/// Several times what a package of fifty thousand files would need. json-glib takes some forty bytes of
/// memory for each byte of a file that is all brackets and commas.
constexpr std::size_t maximumSize = std::size_t(4) << 20;
constexpr std::size_t maximumDepth = 512;
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view prefixes[] = {"file:", "elf:"};

template<class Object, auto release>
struct Release {
    void operator()(Object *object) const { release(object); }
};
using Parser = std::unique_ptr<JsonParser, Release<void, g_object_unref>>;

/// json-glib recurses for each level of nesting without end, and loses the memory of all roots but the last
/// of a text that holds several. A text that passes here does neither to it.
bool isSafeToParse(std::string_view text) {
    if (text.size() > maximumSize)
        return false;
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    options.allow_comments = true;
    boost::json::error_code error;
    boost::json::parse(text, error, {}, options);
    return !error;
}

/// The root, owned by the parser, or null.
JsonNode *parse(JsonParser *parser, std::string_view text) {
    if (!isSafeToParse(text) ||
        !json_parser_load_from_data(parser, text.data(), static_cast<gssize>(text.size()), nullptr))
        return nullptr;
    return json_parser_get_root(parser);
}

std::string watchedFile(JsonNode *element) {
    if (!JSON_NODE_HOLDS_VALUE(element) || json_node_get_value_type(element) != G_TYPE_STRING)
        return {};
    std::string_view text = json_node_get_string(element);
    for (const std::string_view prefix : prefixes) {
        if (text.starts_with(prefix))
            return std::string(text.substr(prefix.size()));
    }
    return std::string(text);
}

} // namespace

std::optional<std::vector<std::string>> readWatchedFiles(const std::filesystem::path &path) {
    const auto file = MappedFile::open(path);
    const Parser parser(json_parser_new());
    JsonNode *root = file ? parse(parser.get(), file->bytes()) : nullptr;
    if (root == nullptr || !JSON_NODE_HOLDS_OBJECT(root))
        return std::nullopt;
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

} // namespace Validator
