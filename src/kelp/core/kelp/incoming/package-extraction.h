#pragma once

#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/incoming/staging-directory.h"
#include "kelp/core/kelp/incoming/symbolic-links.h"
#include "kelp/core/kelp/incoming/unpack-pipeline.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace Core::KELP {

/// Unpacks one package file, and has it judged meanwhile. A judge is the validator with the rules of one
/// ValidationSetup; there may be several, or none.
///
/// The judges see the header before anything is unpacked; then each file as soon as it is unpacked, under
/// each of its names; then the symbolic links (SymbolicLinks); and at last the package as a whole.
///
/// Until all verdicts on a file are given, its owner can read it: a checker that runs without root's rights
/// could not look at it otherwise. After run(), even one that has raised, each judged file has the package's
/// permissions, without set-id bits. The file whose verdict ended the run, and files without a verdict, may
/// still be readable and writable for their owner.
class PackageExtraction {
public:
    using Entry = Common::Rpm::ExtractFileIterator::Entry;

    /// The effect of a verdict of failure.
    enum class Failure {
        Ends,      ///< The run ends at once.
        IsReported ///< The run goes on for all findings.
    };

    /// Steps beside the unpacking; empty functions do nothing. An exception of theirs ends the run.
    struct Steps {
        /// Ahead of the unpacking of a regular file.
        std::function<void()> beforeFile = {};
        /// Ahead of the verdict on an entry.
        std::function<void()> beforeVerdict = {};
        /// Again and again, by the thread that unpacks and by the one that judges.
        std::function<void()> duringWork = {};
        /// For a regular file that was passed.
        std::function<void(const Entry &, const FileDescriptor &)> afterFile = {};
    };

    /// The places and the bound of an unpacking.
    struct Task {
        std::filesystem::path destination;
        std::filesystem::path versionDirectory; ///< Where links shall lead; empty for the destination.
        std::vector<Mapping> mappings;
        Failure failure;
        std::optional<std::uint64_t> mostUnpacked = {}; ///< Bounds the bytes of all files together.
    };

    /// Makes the destination. The references must outlive the object. Raises as StagingDirectory and the
    /// readers of the header do.
    PackageExtraction(const Common::Rpm::ExtractFileIterator &package, Task task,
                      const std::vector<ValidationSetup> &judges, Steps steps, UnpackPipeline &pipeline);
    PackageExtraction(const PackageExtraction &) = delete;
    PackageExtraction &operator=(const PackageExtraction &) = delete;
    ~PackageExtraction();

    /// Unpacks and judges the package; without judges, only unpacks it. A refusal is
    /// ErrorCode::BadPackageContent, with the text "package meta validation failed" for the header and
    /// "package content validation failed" for the files. The second text is also for an entry whose path, or
    /// whose target as a link, is impossible, or whose place is taken. The same holds for a link in the place
    /// of a directory whose files are published. With Failure::Ends, or without judges, the first refusal is
    /// raised. Otherwise the call returns for each judge the text of its first refusal, or an empty text.
    ///
    /// Raises ErrorCode::Filesystem "Couldn't unpack package: REASON", which is no verdict, when the files
    /// take more than `mostUnpacked`, than the free space or than the header says. Also raises what
    /// StagingDirectory, ExtractFileIterator, the pipeline, the checkers and the functions in Steps raise.
    /// Files that were unpacked before an error stay.
    std::vector<std::string> run();

    /// Gives the directories their permissions.
    void applyPermissions() const { staging_.applyPermissions(); }

private:
    struct Seat;

    bool isRefused() const;
    void requireRoom() const;
    void take(std::size_t bytes);
    void work() const;
    void judge();
    UnpackedEntry unpack(const Entry &entry);
    FileDescriptor make(const Entry &entry, const std::filesystem::path &path);
    FileDescriptor makeFile(const Entry &entry, const std::filesystem::path &path);
    void judgeEntry(UnpackedEntry unpacked);
    void judgeContent(UnpackedEntry file);
    void rememberLink(const UnpackedEntry &link);
    void judgeLinks();
    bool judgeFile(const std::string &name, const std::filesystem::path &path);
    void refuse(Validator::ContentRule reason, const std::string &name);
    void refuseLink(Validator::ContentRule reason, const std::string &name);
    bool ask(const char *text, const std::function<bool(Seat &)> &verdict);
    void fail(Seat &seat, const char *text) const;
    bool isMappingSource(const std::filesystem::path &path) const;
    std::filesystem::path targetOf(const Entry &link) const;
    const std::filesystem::path &linksLeadTo() const;

    const Common::Rpm::ExtractFileIterator &package_;
    Validator::RpmMeta meta_;
    Task task_;
    Steps steps_;
    UnpackPipeline &pipeline_;
    StagingDirectory staging_;
    SymbolicLinks links_;
    std::vector<Seat> seats_;
    std::unordered_set<std::string> namedLinks_; ///< Links that the header's judge has reported already.
    std::uint64_t claimed_;                      ///< The bytes of all files by the header.
    std::uint64_t unpacked_ = 0;                 ///< Of the thread that unpacks.
};

} // namespace Core::KELP
