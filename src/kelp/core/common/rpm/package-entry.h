#pragma once

#include <filesystem>
#include <string>
#include <variant>

namespace Common::Rpm {

/// The low nine mode bits, without the set-id and sticky bits.
struct Directory {
    std::filesystem::perms permissions;
};

struct RegularFile {
    std::filesystem::perms permissions;
};

struct Symlink {
    std::string target; ///< As the package gives it; may be empty, and may lead anywhere.
};

/// A further name of the regular file whose entry came just before.
struct HardLink {
    std::string target; ///< The path of that entry.
};

/// One entry of a package. Path and link target are unchecked texts of the package: the path may be relative,
/// hold ".." or occur twice.
template<class... Kinds>
struct PackageEntry {
    std::string path; ///< Text, not a path object: those are large, and lists are long.
    std::variant<Kinds...> kind;
    bool signable; ///< Whether the file takes signature attributes: not for plain configuration files.
    int fileIndex; ///< The place in the header's file list, by which signatures are found.
};

} // namespace Common::Rpm
