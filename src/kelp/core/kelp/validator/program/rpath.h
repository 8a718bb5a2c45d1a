#pragma once

#include <string>
#include <string_view>

namespace Validator {

/// Whether each directory of an rpath, a list joined by ":", lies where a package of that name may have its
/// libraries. White space around a directory does not count, and an empty directory is none.
bool isAllowedRpath(std::string_view rpath, const std::string &package);

} // namespace Validator
