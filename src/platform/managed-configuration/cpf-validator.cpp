#include "platform/managed-configuration/cpf-validator.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/json/basic_parser_impl.hpp>

#include <array>
#include <cerrno>
#include <map>
#include <system_error>

namespace ManagedConfiguration::Validator {

namespace {

using Error = boost::json::error_code;
using Text = boost::json::string_view;

/// The parser's callbacks. They accept everything but a root other than an object.
struct Handler {
    // Keeps nothing, so any size will do; the parser's own options bound the depth.
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
    // The parser stops after the root: unread text is more than white space.
    return !error && read == piece.size();
}

bool JsonObjectCheck::finish() {
    Error error;
    // The text has ended: an open bracket is an error.
    parser_->write_some(false, nullptr, 0, error);
    return !error && parser_->done();
}

std::string CPFValidator::standardSchemasDirectory() {
    return "/usr/share/managed-configuration/schemas";
}

std::shared_ptr<CPFValidator> CPFValidator::instance(const std::filesystem::path &schemas) {
    // The directory only tells instances apart: this stand-in reads no schemas.
    static std::map<std::filesystem::path, std::shared_ptr<CPFValidator>> instances;
    auto &instance = instances[schemas];
    if (!instance)
        instance.reset(new CPFValidator);
    return instance;
}

bool CPFValidator::isConfigurationParameterFile(const std::string &package,
                                                const std::filesystem::path &path) const {
    const std::string &text = path.native();
    return text.starts_with("/usr/share/" + package + "/managed-configuration/") && text.ends_with(".json");
}

bool CPFValidator::isValid(const std::filesystem::path &path) const {
    // A pipe would block for ever.
    if (!std::filesystem::is_regular_file(path))
        return false;
    const Common::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    JsonObjectCheck check;
    std::array<char, 4096> block{};
    ssize_t got = file.get();
    while (got >= 0 && (got = ::read(file.get(), block.data(), block.size())) > 0) {
        // Stops at the first wrong byte: the rest of a huge file is not read.
        if (!check.feed({block.data(), static_cast<std::size_t>(got)}))
            return false;
    }
    if (got < 0)
        throw std::filesystem::filesystem_error("cannot read", path,
                                                std::error_code(errno, std::system_category()));
    return check.finish();
}

} // namespace ManagedConfiguration::Validator
