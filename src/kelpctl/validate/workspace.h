#pragma once

#include "kelpctl/validate/interruption.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>
#include <optional>
#include <string>

namespace KelpCtl {

/// The directory in which one package is unpacked. It was made by this object, and is reached by its
/// descriptor, so that nobody can put something else in its place.
class Workspace {
public:
    /// One below the directory for temporary files, which is gone, with all in it, at the end. A program that
    /// is killed leaves it there, and one that is interrupted twice, which tells where.
    /// Raises std::runtime_error when it cannot be made.
    Workspace();
    /// `directory`/`name`, with its parents, which stays. Raises std::runtime_error when it exists.
    Workspace(const std::filesystem::path &directory, const std::string &name);
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;
    ~Workspace();

    /// Valid as long as the object.
    std::filesystem::path path() const;

private:
    void open(const std::filesystem::path &path);

    std::filesystem::path temporary_; ///< Empty for one that stays.
    std::optional<Interruption::Tree> tree_;
    Common::FileDescriptor directory_;
};

} // namespace KelpCtl
