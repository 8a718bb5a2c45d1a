#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace Core::KELP {

/// Entries of an installed version that its repaired version keeps.
class KeptEntries {
public:
    KeptEntries(std::filesystem::path installed, std::filesystem::path repaired) :
        installed_(std::move(installed)), repaired_(std::move(repaired)) {}

    /// `path` is that of an entry of the installed version, in its directory.
    void add(const std::string &path) { paths_.insert(path); }

    bool contains(const std::string &path) const { return paths_.contains(path); }

    /// Copies the entries of add() into the repaired version, in place of the entries there, with owners and
    /// permission bits, and files with their extended attributes other than capabilities. A directory that is
    /// there keeps its content. Copied names of one file become hard links again. If a file of the repaired
    /// version has several names, and one of them was added, carryOver() also copies each other name that
    /// names the same file in the installed version. Pipes, sockets and devices are not copied, and their
    /// places stay empty. Raises ErrorCode::Filesystem; entries that were copied before stay.
    void carryOver();

private:
    void completeNames();
    void bring(const std::string &path);
    void requireDirectoryAbove(const std::string &path) const;

    std::filesystem::path installed_;
    std::filesystem::path repaired_;
    std::set<std::string> paths_; ///< Each directory before what lies in it.
    std::map<std::pair<dev_t, ino_t>, std::filesystem::path> brought_;
};

} // namespace Core::KELP
