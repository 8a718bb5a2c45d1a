#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Common::Rpm {
class Reader;
}

namespace Validator {

/// One entry of a package's file list, in the words of the package.
struct FileInfo {
    std::uint16_t mode = 0; ///< With the type bits (inode(7)).
    std::string path;
    std::string linkTarget; ///< Empty unless the entry is a link.
    std::string user;
    std::string group;
    std::string capabilities = {}; ///< As cap_to_text(3) writes them.
};

/// What a package's header says of it, as the validator needs to know it. A text that the header lacks is
/// empty.
struct RpmFacts {
    std::string name;
    std::string version;
    std::string release;
    std::string vendor;
    std::string architecture;
    bool hasScripts = false;      ///< Whether there is any scriptlet, or a program for one.
    bool hasOtherScripts = false; ///< The same of triggers, verify scripts and what newer rpms know.
    std::vector<std::string> provides;
    std::vector<std::string> obsoletes;
    std::vector<std::string> conflicts;
    std::vector<std::string>
        requirements; ///< Without rpm's own, file and loader dependencies, and without "()(64bit)".
    std::vector<std::string> uncheckedRequirements; ///< Those that the list above is without, as they are.
    std::vector<FileInfo> files;
};

/// Reads the facts out of a package's header. Raises ErrorCode::BadPackageFileFormat "Couldn't read rpm
/// package" when the file list contradicts itself.
RpmFacts readRpmFacts(const Common::Rpm::Reader &package);

} // namespace Validator
