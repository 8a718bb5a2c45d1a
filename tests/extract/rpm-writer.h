#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// One file of a written package.
struct WrittenFile {
    std::string directory; ///< With "/" at both ends, if the package is to be a sound one.
    std::string name;
    std::uint16_t mode = 0100644;
    std::string content = {};      ///< The target of a link.
    std::uint32_t inode = 0;       ///< Files of one inode are hard links, the last with content; 0 for none.
    std::int32_t missingBytes = 0; ///< By how much the header claims more than the payload holds.
    std::string owner = "root";    ///< User and group.
    std::string capabilities = {};
    std::string digest = {}; ///< The SHA-256 that the header has for it.
};

/// Writes a package file that librpm takes, with the file list as it is: rpmbuild would refuse to.
struct RpmWriter {
    std::string id = "org.example.app";
    std::string version = "1";
    std::string architecture = "noarch";
    std::vector<WrittenFile> files = {};
    std::vector<WrittenFile> payload = {};                       ///< Empty for what `files` says.
    std::map<std::int32_t, std::vector<std::string>> lists = {}; ///< Further tags.

    bool isSigned = false; ///< By a key that nobody knows.

    void write(const std::filesystem::path &path) const;
};
