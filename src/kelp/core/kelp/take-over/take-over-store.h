#pragma once

#include "kelp/core/kelp/package/i-database.h"

namespace Core::KELP {

/// The package store, with the steps that a take-over and the installation of a rescued tree need. They make
/// a staged tree the current version of a package that the store does not have yet.
///
/// No step makes its changes durable. A take-over keeps a durable journal, and repeats the steps after a
/// power cut.
class TakeOverStore : public IDatabase {
public:
    /// Writes the descriptor into the staged tree. Removes what the package ships under the names of the
    /// store's other files, such as its lists: the store would take it for its own. All this is durable after
    /// the next flush of the tree. A correct descriptor is not written again. Raises ErrorCode::Filesystem.
    virtual void describeStaged(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Moves the staged tree to the version directory, makes `next` lead to it, and renames `next` to
    /// `current`. Publishes nothing; before the move calls takeBackLeftBehind(). After an interruption, a
    /// second call goes on with the first step that is missing. Raises ErrorCode::FileConflict if a foreign
    /// entry is in the way, which stays, ErrorCode::Internal without a tree, and ErrorCode::Filesystem. After
    /// a failure the tree is at `staging.path` or in the version directory.
    virtual void place(const PackageStaging &staging) = 0;

    /// Writes the lists of a current version: the files that are published, and the directories, each before
    /// what lies in it. A correct list is not written again. Raises ErrorCode::Filesystem.
    virtual void record(const std::string &id, const std::vector<std::string> &files,
                        const std::vector<std::string> &directories) = 0;

    /// Whether both lists say what record() would write. Raises ErrorCode::Filesystem when one cannot be
    /// looked for or read.
    virtual bool isRecorded(const std::string &id, const std::vector<std::string> &files,
                            const std::vector<std::string> &directories) = 0;
};

} // namespace Core::KELP
