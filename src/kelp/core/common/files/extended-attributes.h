#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace Common {

// Extended attributes (xattr(7)). Values are bytes held in a string. Reading follows a link. Setting does
// not, and the kernel gives a link no "user." attribute. All functions raise ErrorCode::Filesystem with the
// errno of the system call that failed, and log nothing.

/// Sets the attribute, replacing an old value. An empty value sets nothing and succeeds.
void setExtendedAttribute(const std::filesystem::path &path, const std::string &name,
                          const std::string &value);

/// The value; raises when the attribute does not exist.
std::string extendedAttribute(const std::filesystem::path &path, const std::string &name);

/// All attributes as pairs of name and value, in the order in which the system lists them; none on a
/// filesystem that has no attributes.
std::vector<std::pair<std::string, std::string>> extendedAttributes(const std::filesystem::path &path);

} // namespace Common
