#pragma once

#include "kelp/core/kelp/package/i-database.h"

namespace Core::KELP {

/// What a take-over asks of the package store beside what everybody asks: the steps by which a staged tree
/// becomes the current version of a package that the store did not have.
///
/// Nothing is flushed: the caller keeps a durable journal, and takes the steps again after a power cut.
class TakeOverStore : public IDatabase {
public:
    /// Gives the staged tree its descriptor and takes the store's other names from it, so that both are as
    /// durable as the tree when that is flushed next. What is right already is not written again. Raises
    /// ErrorCode::Filesystem.
    virtual void describeStaged(const PackageStaging &staging, const PackageInformation &extras) = 0;

    /// Makes the staged tree the current version, from whatever an earlier call has reached: the tree at
    /// `staging.path`, in the version directory, with `next`, with `current`. Nothing is published. A tree
    /// or a file that stands in the version's place stays. Raises ErrorCode::Filesystem; then the tree is at
    /// one of its two places.
    virtual void place(const PackageStaging &staging) = 0;

    /// Writes the lists of a current version: the files that are published, and the directories, each before
    /// what lies in it. A list that is right already is not written again. Raises ErrorCode::Filesystem.
    virtual void record(const std::string &id, const std::vector<std::string> &files,
                        const std::vector<std::string> &directories) = 0;

    /// Whether both lists say what record() would write.
    virtual bool isRecorded(const std::string &id, const std::vector<std::string> &files,
                            const std::vector<std::string> &directories) = 0;
};

} // namespace Core::KELP
