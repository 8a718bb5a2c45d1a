#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <optional>
#include <string>
#include <vector>

namespace KelpCtl {

/// The package files of a run, in their order: the named files, then those of a list, which is read as it
/// comes. A directory stands for all regular files *.rpm in it and below, in byte order. Links in a directory
/// are not followed, and its source packages are skipped and counted. Faults of a directory are reported on
/// standard error.
class PackageSource {
public:
    /// A file of names, one a line or each ended by a zero byte; "-" is standard input.
    struct List {
        std::string file;
        bool hasZeros = false;
    };

    /// Raises std::system_error when there is no such list.
    PackageSource(std::vector<std::string> names, const std::optional<List> &list);

    /// The next package file; nothing at the end, and while isWaiting(). Raises std::system_error when the
    /// list cannot be read.
    std::optional<std::string> next();

    /// Whether more names may come from a list that has none right now.
    bool isWaiting() const { return isWaiting_; }
    /// Becomes readable when more names come.
    int descriptor() const { return list_.get(); }

    /// Whether a directory held no packages, or could not be read.
    bool hadTrouble() const { return hadTrouble_; }

private:
    /// A directory during the walk: its remaining names, the last first.
    struct Level {
        std::string path;
        std::vector<std::string> names; ///< Of directories with "/" at the end.
    };

    std::optional<std::string> nextName();
    std::optional<std::string> nextOfList();
    std::optional<std::string> nextOfWalk();
    void beginWalk(const std::string &directory);
    void endWalk();
    void enter(const std::string &directory);
    bool isWanted(const std::string &file);
    void complain(const std::string &text);

    std::vector<std::string> names_; ///< The last first.
    Common::FileDescriptor list_;
    char separator_ = '\n';
    std::string buffer_; ///< Text of the list that is not used yet.
    bool isWaiting_ = false;
    bool hadTrouble_ = false;

    std::vector<Level> walk_;
    std::string walked_; ///< The directory that was named.
    std::size_t found_ = 0;
    std::size_t sources_ = 0;
};

} // namespace KelpCtl
