#pragma once

#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/incoming/conveyance.h"
#include "kelp/core/kelp/incoming/judge.h"
#include "kelp/core/kelp/incoming/staging-directory.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Core::KELP {

/// Unpacks one package file under the validator's verdict. For one run.
///
/// First the header is judged, before the unpacking. Then follow each file as soon as it is unpacked, under
/// each of its names; the symbolic links (SymbolicLinks); and the whole.
///
/// While files are judged their owner can also read and write them: so checkers that do not run as root see
/// everything. When the run ends, in whatever way, each judged file has just its own permissions.
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
        /// Again and again, by each of the threads that the conveyance has.
        std::function<void()> duringWork = {};
        /// For a regular file that was passed.
        std::function<void(const Entry &, const FileDescriptor &)> afterFile = {};
    };

    /// `versionDirectory` is where links shall lead; when it is empty, the destination. `mostUnpacked` bounds
    /// the bytes of all files together.
    PackageExtraction(const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
                      std::vector<Mapping> mappings, Failure failure,
                      std::optional<std::uint64_t> mostUnpacked = {});

    /// A verdict of failure is ErrorCode::BadPackageContent, with "package meta validation failed" for the
    /// header and "package content validation failed" for the files, also for files that cannot be where the
    /// package wants them. With Failure::Ends it is raised. Otherwise the call returns for each judge its
    /// text, or an empty one for a package that passed. Also raises what StagingDirectory,
    /// ExtractFileIterator and the checkers raise, and ErrorCode::Filesystem "Couldn't unpack package:
    /// REASON", which is no verdict, when the files take more than `mostUnpacked` or than the free space.
    /// Files unpacked by then stay. Without any judge the package is only unpacked; a file that cannot be
    /// where the package wants it then raises.
    std::vector<std::string> run(const Common::Rpm::ExtractFileIterator &package,
                                 const std::vector<PackageJudge> &judges, const Steps &steps,
                                 Conveyance &conveyance);

    /// Gives the directories their permissions.
    void applyPermissions() const { staging_.applyPermissions(); }

private:
    struct Seat;
    struct Run;

    static bool isRefused(const Run &run);
    void requireRoom(const Common::Rpm::ExtractFileIterator &package) const;
    void take(std::size_t bytes);
    void judge(Run &run);
    UnpackedEntry unpack(const Entry &entry, Run &run);
    FileDescriptor make(const Entry &entry, const std::filesystem::path &path, Run &run);
    FileDescriptor makeFile(const Entry &entry, const std::filesystem::path &path, Run &run);
    void judgeEntry(UnpackedEntry unpacked, Run &run);
    void judgeContent(UnpackedEntry file, Run &run);
    void rememberLink(const UnpackedEntry &link, Run &run);
    void judgeLinks(Run &run);
    bool judgeFile(const std::string &name, const std::filesystem::path &path, Run &run);
    void refuse(Validator::ContentRule reason, const std::string &name, Run &run);
    void refuseLink(Validator::ContentRule reason, const std::string &name, Run &run);
    bool ask(Run &run, const char *text, const std::function<bool(Seat &)> &verdict);
    bool hasFailed(bool verdict, const char *text, Seat &seat) const;
    bool isMappingSource(const std::filesystem::path &path) const;
    std::filesystem::path targetOf(const Entry &link) const;

    StagingDirectory staging_;
    std::filesystem::path versionDirectory_;
    std::vector<Mapping> mappings_;
    Failure failure_;
    std::optional<std::uint64_t> mostUnpacked_;
    std::uint64_t unpacked_ = 0; ///< Of the thread that unpacks.
};

} // namespace Core::KELP
