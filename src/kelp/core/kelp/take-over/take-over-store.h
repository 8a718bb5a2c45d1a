#pragma once

#include "kelp/core/kelp/package/i-database.h"

namespace Core::KELP {

/// The package store, with the steps that only a take-over needs: they make a staged tree the current version
/// of a package that is new to the store.
///
/// These steps flush nothing: the caller keeps a durable journal, and repeats them after a power cut.
class TakeOverStore : public IDatabase {
public:
    /// Writes the descriptor into the staged tree, and removes packaged files under the store's other names.
    /// Both become durable with the tree's next flush. A correct descriptor is not written again. Raises
    /// ErrorCode::Filesystem.
    virtual void describeStaged(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the staged tree the current version. After an interrupted call it goes on from where that ended:
    /// with the tree at `staging.path`, in the version directory, named by `next`, or by `current`. Publishes
    /// nothing. Raises ErrorCode::FileConflict if a foreign entry is in the way, and ErrorCode::Filesystem.
    /// Then the tree is at `staging.path` or is the version directory. Another tree or file in that place
    /// stays.
    virtual void place(const PackageStaging &staging) = 0;

    /// Writes the lists of a current version: the files that are published, and the directories, each before
    /// what lies in it. A correct list is not written again. Raises ErrorCode::Filesystem.
    virtual void record(const std::string &id, const std::vector<std::string> &files,
                        const std::vector<std::string> &directories) = 0;

    /// Whether both lists say what record() would write. Raises ErrorCode::Filesystem when a look for one
    /// fails.
    virtual bool isRecorded(const std::string &id, const std::vector<std::string> &files,
                            const std::vector<std::string> &directories) = 0;
};

} // namespace Core::KELP
