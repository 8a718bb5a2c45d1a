#pragma once

#include <string_view>

namespace Validator {

class Config;

/// Another name of the MIME type of packages.
constexpr std::string_view olderNameOfRpm = "application/x-redhat-package-manager";

/// Whether no package may handle a MIME type. Blanks around it and the case of its letters do not count: the
/// look-up of handlers ignores them. The older name of packages counts like their own.
bool isForbiddenMimeType(const Config &config, std::string_view type);

} // namespace Validator
