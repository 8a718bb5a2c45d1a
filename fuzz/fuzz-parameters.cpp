// A configuration parameter file is valid when a parser that has all of it at once finds one object, however
// it is cut into pieces.

#include "platform/managed-configuration/cpf-validator.h"
#include "support/fuzz-file.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <string_view>

using ManagedConfiguration::Validator::CPFValidator;
using ManagedConfiguration::Validator::JsonObjectCheck;

namespace {

bool isObject(std::string_view text) {
    boost::json::error_code error;
    const boost::json::value value = boost::json::parse({text.data(), text.size()}, error);
    return !error && value.is_object();
}

bool isObjectInPieces(std::string_view text) {
    JsonObjectCheck check;
    for (; !text.empty(); text.remove_prefix(1))
        if (!check.feed(text.substr(0, 1)))
            return false;
    return check.finish();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const bool expected = isObject(text);
    require(CPFValidator::instance({})->isValid(file.path()) == expected);
    require(isObjectInPieces(text) == expected);
    return 0;
}
