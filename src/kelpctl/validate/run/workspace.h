#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>
#include <string>

namespace KelpCtl {

/// The directory in which one package is unpacked. It was made by this object, and is reached by its
/// descriptor, so that nobody can put something else in its place.
///
/// One that does not stay lies in a directory "kelpctl-XXXXXX", beside a file that is locked as long as the
/// process lives. That file tells whoever clears up whose the directory is, and that it is still at work.
class Workspace {
public:
    /// One below `parent` that is gone, with all in it, at the end. A process that is killed leaves it there,
    /// for clearLeft(). Raises std::runtime_error when it cannot be made.
    explicit Workspace(const std::filesystem::path &parent);
    /// `directory`/`name`, with its parents, which stays. Raises std::runtime_error when it exists.
    Workspace(const std::filesystem::path &directory, const std::string &name);
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;
    ~Workspace();

    /// Valid as long as the object.
    std::filesystem::path path() const;

    /// Removes what this user's processes have left below `parent` when they were killed. What cannot be
    /// looked at or removed stays.
    static void clearLeft(const std::filesystem::path &parent);

private:
    bool tryToMake(const std::filesystem::path &parent);
    void open(const std::filesystem::path &path);

    std::filesystem::path temporary_; ///< Empty for one that stays.
    Common::FileDescriptor lock_;
    Common::FileDescriptor directory_;
};

} // namespace KelpCtl
