#include "kelp/core/kelp/validator/hardening/forbidden-mime-type.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <string>

namespace Validator {

namespace {

constexpr std::string_view usualName = "application/x-rpm";

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool isForbiddenMimeType(const Config &config, std::string_view type) {
    std::string name(trimmed(type));
    std::ranges::transform(name, name.begin(), lower);
    return config.forbiddenMimeTypes().contains(name == olderNameOfRpm ? std::string(usualName) : name);
}

} // namespace Validator
