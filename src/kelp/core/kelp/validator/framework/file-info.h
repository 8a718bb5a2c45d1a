#pragma once

#include <cstdint>
#include <string>

namespace Validator {

/// One entry of a package's file list, in the words of the package.
struct FileInfo {
    std::uint16_t mode = 0; ///< With the type bits (inode(7)).
    std::string path;
    std::string linkTarget; ///< Empty unless the entry is a link.
    std::string user;
    std::string group;
};

} // namespace Validator
