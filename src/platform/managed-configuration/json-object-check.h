#pragma once

#include <memory>
#include <string_view>

namespace ManagedConfiguration::Validator {

/// Whether a text, which comes in pieces, is one JSON object. Keeps nothing of what it has read.
class JsonObjectCheck {
public:
    JsonObjectCheck();
    JsonObjectCheck(const JsonObjectCheck &) = delete;
    JsonObjectCheck &operator=(const JsonObjectCheck &) = delete;
    ~JsonObjectCheck();

    /// Reads on; false when the text cannot become an object any more.
    bool feed(std::string_view piece);

    /// Whether what was read so far is a whole object.
    bool finish();

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

} // namespace ManagedConfiguration::Validator
