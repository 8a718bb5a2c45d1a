#pragma once

#include "kelp/core/kelp/package/i-database.h"

namespace Core::KELP {

/// What a take-over asks of the package store beside what everybody asks: the steps by which a staged tree
/// that may be the only copy in the world becomes an installed package.
///
/// Nothing is flushed: whoever takes these steps has something durable that has takeOver() called again after
/// a power cut, until a flush of the filesystems follows its success.
class TakeOverStore : public IDatabase {
public:
    /// Gives the staged tree its descriptor and takes the store's other names from it, so that both are as
    /// durable as the tree when that is flushed next. What is right already is not written again. Raises
    /// ErrorCode::Filesystem.
    virtual void describeStaged(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Goes on from whatever an earlier call has reached until the package is installed: the tree at
    /// `staging.path`, in the version directory, with `next`, with `current`, with some or all of its
    /// mappings. All mappings that are the package's own are made anew, since nothing tells which of them
    /// survived. Raises what install() raises; a failure throws nothing of the tree away, and leaves it where
    /// it stands, so that a later call goes on. After ErrorCode::FileConflict nothing is published. An id of
    /// which another version is installed raises ErrorCode::Internal and stays as it was.
    virtual void takeOver(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Removes a package the first installation of which has failed, with the log lines and the event of
    /// install(). Its version directory may have been moved away before. Raises ErrorCode::Filesystem when it
    /// cannot make an empty one in its place; all other failures are logged.
    virtual void discardFailedInstallation(const std::string &id) = 0;
};

} // namespace Core::KELP
