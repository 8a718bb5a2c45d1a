#include "platform/managed-configuration/json-object-check.h"

#include <boost/json/basic_parser_impl.hpp>

namespace ManagedConfiguration::Validator {

namespace {

using Error = boost::json::error_code;
using Text = boost::json::string_view;

/// What the parser tells of a text. It accepts everything but a root that is no object.
struct Handler {
    // No size is too large for what keeps nothing; depth is bounded by the parser's own options.
    static constexpr std::size_t max_object_size = std::size_t(-1);
    static constexpr std::size_t max_array_size = std::size_t(-1);
    static constexpr std::size_t max_key_size = std::size_t(-1);
    static constexpr std::size_t max_string_size = std::size_t(-1);

    bool rootSeen = false;

    bool isInObject(Error &error) {
        if (!rootSeen)
            error = boost::json::error::not_object;
        return rootSeen;
    }

    bool on_document_begin(Error &) { return true; }
    bool on_document_end(Error &) { return true; }
    bool on_object_begin(Error &) { return rootSeen = true; }
    bool on_object_end(std::size_t, Error &) { return true; }
    bool on_array_begin(Error &error) { return isInObject(error); }
    bool on_array_end(std::size_t, Error &) { return true; }
    bool on_key_part(Text, std::size_t, Error &) { return true; }
    bool on_key(Text, std::size_t, Error &) { return true; }
    bool on_string_part(Text, std::size_t, Error &error) { return isInObject(error); }
    bool on_string(Text, std::size_t, Error &error) { return isInObject(error); }
    bool on_number_part(Text, Error &error) { return isInObject(error); }
    bool on_int64(std::int64_t, Text, Error &error) { return isInObject(error); }
    bool on_uint64(std::uint64_t, Text, Error &error) { return isInObject(error); }
    bool on_double(double, Text, Error &error) { return isInObject(error); }
    bool on_bool(bool, Error &error) { return isInObject(error); }
    bool on_null(Error &error) { return isInObject(error); }
    bool on_comment_part(Text, Error &) { return true; }
    bool on_comment(Text, Error &) { return true; }
};

} // namespace

struct JsonObjectCheck::Parser : boost::json::basic_parser<Handler> {
    Parser() : basic_parser(boost::json::parse_options()) {}
};

JsonObjectCheck::JsonObjectCheck() : parser_(std::make_unique<Parser>()) {}

JsonObjectCheck::~JsonObjectCheck() = default;

bool JsonObjectCheck::feed(std::string_view piece) {
    Error error;
    const std::size_t read = parser_->write_some(true, piece.data(), piece.size(), error);
    // The parser stops behind the root: what it did not read is more than white space.
    return !error && read == piece.size();
}

bool JsonObjectCheck::finish() {
    Error error;
    // No more is to come: what is not closed by now is an error.
    parser_->write_some(false, nullptr, 0, error);
    return !error && parser_->done();
}

} // namespace ManagedConfiguration::Validator
