#include "kelpctl/validate/package-judge.h"

#include "kelpctl/file-kind.h"
#include "kelpctl/terminal.h"
#include "kelpctl/validate/collected-report.h"
#include "kelpctl/validate/run/interruption.h"
#include "kelpctl/validate/run/workspace.h"
#include "kelpctl/validate/threaded-pipeline.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <future>
#include <iostream>
#include <vector>

namespace KelpCtl {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::Rpm::Signatures;
using Core::KELP::RpmPackage;
using Validator::ContentRule;

namespace Tag = Common::Rpm::Tag;

constexpr const char *wrongDigest = "The payload does not match its digest";

/// Catches standard error, and passes on only lines of the validator's report.
class ReportLines final : public std::streambuf {
public:
    using Take = std::function<void(const std::string &)>;

    explicit ReportLines(Take take) : take_(std::move(take)) {}

protected:
    int_type overflow(int_type character) override {
        if (character == '\n')
            end();
        else if (line_.size() < longestLine)
            line_ += static_cast<char>(character);
        return character;
    }

private:
    static constexpr std::string_view beginning = "ExecDBus error: ";
    static constexpr std::size_t longestLine = 4096;

    void end() {
        if (line_.starts_with(beginning))
            take_(line_);
        line_.clear();
    }

    Take take_;
    std::string line_;
};

/// The time limit of a judgement.
class Deadline {
public:
    explicit Deadline(std::optional<std::chrono::seconds> patience) : patience_(patience) {}

    void check() const {
        if (patience_ && Clock::now() - begin_ > *patience_)
            throw std::runtime_error(tooLong(*patience_));
    }

private:
    using Clock = std::chrono::steady_clock;

    std::optional<std::chrono::seconds> patience_;
    Clock::time_point begin_ = Clock::now();
};

/// Keeps the core's log off the streams: it holds raw texts of packages. The report has what matters of it.
class Silence {
public:
    // A stream without a buffer drops its output; with its buffer back it works again.
    explicit Silence(ReportLines::Take takeLine) : lines_(std::move(takeLine)) {
        Common::Rpm::silenceLibrary();
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;
    ~Silence() {
        std::cout.rdbuf(out_);
        std::cerr.rdbuf(error_);
    }

private:
    ReportLines lines_;
    std::streambuf *out_ = std::cout.rdbuf(nullptr);
    std::streambuf *error_ = std::cerr.rdbuf(&lines_);
};

/// One package under all profiles.
class Judgement {
public:
    Judgement(std::string file, const JudgeOptions &options) :
        file_(std::move(file)), options_(options), deadline_(options.timeout) {}

    std::vector<PackageReport> take() && {
        std::vector<PackageReport> reports;
        for (CollectedReport &report : reports_)
            reports.push_back(std::move(report).take());
        return reports;
    }

    /// The validator's lines belong to the profile in hand.
    void takeLine(const std::string &line) { reports_[inHand_].addLine(line); }

    void judge() {
        begin();
        try {
            if (const std::string advice = adviceOn(kindOf(file_)); !advice.empty())
                throw std::runtime_error(advice);
            // First: it also fills in name and version, which a report has even without a verdict.
            beginDigests();
            unpackAndJudge(RpmPackage::fromFile(file_, {}, Signatures::Unchecked));
        } catch (const Interrupted &) {
            // No verdict: the whole run ends.
            throw;
        } catch (const Error &error) {
            const bool isRefusal = error.code() == Common::ErrorCategory::make(ErrorCode::BadPackageContent);
            if (isRefusal)
                reportNames();
            // Any other failure says nothing about the package, which must look neither good nor bad.
            conclude(isRefusal ? Verdict::Refused : Verdict::Incomplete, explainedText(error));
        } catch (const std::exception &error) {
            conclude(Verdict::Incomplete, error.what());
        }
        judgeDigests();
    }

private:
    struct Digests {
        bool isPayloadRight;
        std::string file;
    };

    void begin() {
        reports_.clear();
        for (const auto &profile : options_.profiles)
            reports_.emplace_back(file_, *profile, options_).setDigest(options_.sha256);
        nameReports();
    }

    /// Fills in the names by the header, if that could be read.
    void nameReports() {
        for (CollectedReport &report : reports_)
            if (!version_.empty())
                report.name(id_, version_);
    }

    /// Starts the reads that run beside the unpacking.
    void beginDigests() {
        const Common::Rpm::Reader header = readHeader();
        size_ = header.contentSize();
        id_ = header.tagOr(Tag::Name, "");
        version_ = header.tagOr(Tag::Version, "") + "-" + header.tagOr(Tag::Release, "");
        nameReports();
        const Common::Rpm::PayloadDigest digest(file_, header);
        // Its destructor waits for the thread, so that none outlives the judgement, even if that raises.
        const bool isDigestWanted = options_.hasDigest && options_.sha256.empty();
        digests_ = std::async(hasThreads() ? std::launch::async : std::launch::deferred,
                              [digest, file = file_, isDigestWanted] {
                                  return Digests{digest.isRight(), isDigestWanted ? sha256OfFile(file) : ""};
                              });
    }

    Common::Rpm::Reader readHeader() {
        try {
            return Common::Rpm::Reader(file_, Signatures::Unchecked);
        } catch (const Error &) {
            if (isReadable(Signatures::NorDigests))
                report(Stage::Header, messageOf(ContentRule::HeaderDigestWrong, {}));
            throw;
        }
    }

    bool isReadable(Signatures signatures) const {
        try {
            const Common::Rpm::Reader header(file_, signatures);
            return true;
        } catch (const Error &) {
            return false;
        }
    }

    /// Reports bad names: the only fault that reading the header refuses, before any check.
    void reportNames() {
        if (!Validator::isUsableVersion(version_))
            report(Stage::Header, messageOf(Validator::HardeningRule::VersionUnusable, {version_}));
        report(Stage::Header, messageOf(ContentRule::NameUnusable, {}));
    }

    /// Also for a refused or incomplete package: wrong bytes may be the cause.
    void judgeDigests() {
        if (!digests_.valid())
            return;
        try {
            finishDigests();
        } catch (const std::exception &error) {
            conclude(Verdict::Incomplete, error.what());
        }
    }

    void finishDigests() {
        const Digests digests = digests_.get();
        if (!digests.file.empty())
            for (CollectedReport &report : reports_)
                report.setDigest(digests.file);
        if (digests.isPayloadRight)
            return;
        report(Stage::Files, messageOf(ContentRule::DigestWrong, {}));
        // Also replaces a refusal: the findings are about bytes that the maker did not build.
        conclude(Verdict::Incomplete, wrongDigest);
    }

    void unpackAndJudge(const RpmPackage &package) {
        // A workspace for each package: remnants of one cannot get in the way of the next.
        if (!options_.keep.empty())
            return judge(package, Workspace(options_.keep, package.id() + "-" + package.version()));
        std::error_code unusable; // The workspace says so in words for people.
        if (!fitsMemory(size_, options_.jobs) || !isJudgedInMemory(package))
            judge(package, Workspace(std::filesystem::temp_directory_path(unusable)));
    }

    /// Memory may not suffice: files take more than the header's sum, and other programs use it too. Then
    /// returns false and leaves no trace.
    bool isJudgedInMemory(const RpmPackage &package) {
        try {
            judge(package, Workspace(memoryDirectory));
            return true;
        } catch (const std::exception &error) {
            if (Common::systemErrorOf(error) != ENOSPC)
                throw;
            begin();
            return false;
        }
    }

    /// For few bytes threads would cost more than they gain.
    bool hasThreads() const {
        constexpr std::uint64_t fewBytes = 0x80000;
        return options_.jobs == 1 && size_ >= fewBytes;
    }

    void judge(const RpmPackage &package, const Workspace &workspace) {
        Progress progress(file_, package.files().size(), options_.jobs == 1);
        RpmPackage::Trial trial;
        trial.beforeVerdict = [&progress] { progress.step(); };
        trial.mostUnpacked = options_.mostUnpacked;
        trial.duringWork = [this] {
            Interruption::check();
            deadline_.check();
        };
        if (hasThreads())
            trial.pipeline = std::make_shared<ThreadedPipeline>();
        const std::vector<std::string> refusals = package.validate(workspace.path(), judges(), trial);
        for (std::size_t i = 0; i < refusals.size(); ++i)
            if (!refusals[i].empty())
                reports_[i].conclude(Verdict::Refused, refusals[i]);
    }

    std::vector<Core::KELP::ValidationSetup> judges() {
        std::vector<Core::KELP::ValidationSetup> judges;
        for (std::size_t i = 0; i < reports_.size(); ++i)
            judges.push_back(
                {options_.profiles[i],
                 [this, i](const Validator::Message &message) { reports_[i].add(Stage::Header, message); },
                 [this, i](const Validator::Message &message) { reports_[i].add(Stage::Files, message); },
                 options_.lineOf ? Validator::allOfId : mostShown, [this, i] { inHand_ = i; }});
        return judges;
    }

    void report(Stage stage, const Validator::Message &message) {
        for (CollectedReport &report : reports_)
            report.add(stage, message);
    }

    void conclude(Verdict verdict, const std::string &reason) {
        for (CollectedReport &report : reports_)
            report.conclude(verdict, reason);
    }

    std::string file_;
    std::string id_;
    std::string version_;
    std::uint64_t size_ = 0; ///< Of all its files, by its header.
    const JudgeOptions &options_;
    Deadline deadline_;
    std::vector<CollectedReport> reports_;
    std::future<Digests> digests_;
    std::size_t inHand_ = 0; ///< The index of the profile in hand.
};

} // namespace

std::vector<PackageReport> judgePackage(const std::string &file, const JudgeOptions &options) {
    Judgement judgement(file, options);
    // One package at a time: the streams are the whole program's.
    const Silence silence([&judgement](const std::string &line) { judgement.takeLine(line); });
    judgement.judge();
    return std::move(judgement).take();
}

std::string sha256OfFile(const std::string &path) {
    // O_NONBLOCK: does not wait for the writer of a pipe.
    const Common::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        throw Error(Common::ErrorCode::Filesystem, "Couldn't read file: " + path, errno);
    if (!S_ISREG(status.st_mode))
        throw Error(Common::ErrorCode::Filesystem, "Couldn't read file: " + path + ": it is no regular file");
    return Common::Rpm::sha256Of(file.get(), path);
}

std::string tooLong(std::chrono::seconds time) {
    return "It takes longer than " + std::to_string(time.count()) + " seconds";
}

} // namespace KelpCtl
