#pragma once

#include "kelp/core/kelp/package/i-database.h"

namespace Core::KELP {

/// The package store, with the steps that only a take-over needs: a staged tree becomes the current version
/// of a package that is new to the store.
///
/// Flushes nothing: the caller keeps a durable journal, and repeats the steps after a power cut.
class TakeOverStore : public IDatabase {
public:
    /// Writes the descriptor of the staged tree and removes the store's other names from it, so that both
    /// become durable with the tree's next flush. A correct descriptor is not written again. Raises
    /// ErrorCode::Filesystem.
    virtual void describeStaged(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the staged tree the current version, or completes an earlier call, whichever step that reached:
    /// the tree at `staging.path`, in the version directory, with `next`, with `current`. Publishes nothing.
    /// A tree or a file that stands in the version's place stays. Raises ErrorCode::Filesystem; then the tree
    /// is at one of its two places.
    virtual void place(const PackageStaging &staging) = 0;

    /// Writes the lists of a current version: the files that are published, and the directories, each before
    /// what lies in it. A correct list is not written again. Raises ErrorCode::Filesystem.
    virtual void record(const std::string &id, const std::vector<std::string> &files,
                        const std::vector<std::string> &directories) = 0;

    /// Whether both lists say what record() would write.
    virtual bool isRecorded(const std::string &id, const std::vector<std::string> &files,
                            const std::vector<std::string> &directories) = 0;
};

} // namespace Core::KELP
