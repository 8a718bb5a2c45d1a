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

/// One entry of a package. Path and link target are the words of the package: nothing says that the path is
/// absolute, that it holds no ".." or that it occurs once.
template<class... Kinds>
struct PackageEntry {
    std::string path; ///< Text, for lists of entries are long and path objects are large.
    std::variant<Kinds...> kind;
    bool signable; ///< Whether the file takes signature attributes: not for plain configuration files.
    int fileIndex; ///< The place in the header's file list, by which signatures are found.
};

} // namespace Common::Rpm
