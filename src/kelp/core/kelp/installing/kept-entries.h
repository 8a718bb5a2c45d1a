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

    /// A path in both trees, below directories alone.
    void add(const std::string &path) { paths_.insert(path); }

    bool contains(const std::string &path) const { return paths_.contains(path); }

    /// Copies the added entries into the repaired version, with modes, owners and attributes, in place of the
    /// entries there. If one of several names of a file in the repaired version is added, all its names that
    /// are installed are copied. Hard links of the installed version stay hard links. Pipes, sockets and
    /// devices are left out. Raises ErrorCode::Filesystem, when some entries may be copied already.
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
