#include "kelpctl/validate/package-judge.h"

#include "kelpctl/validate/hints.h"
#include "kelpctl/validate/interruption.h"
#include "kelpctl/validate/lookahead.h"
#include "kelpctl/validate/progress.h"
#include "kelpctl/validate/workspace.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/payload-digest.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include <future>
#include <iostream>
#include <map>

namespace KelpCtl {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::Rpm::Signatures;
using Core::KELP::RpmPackage;
using Validator::ContentRule;

namespace Tag = Common::Rpm::Tag;

constexpr const char *wrongDigest = "The payload does not match its digest";

/// Of one id. More of them nobody reads.
constexpr std::size_t mostShown = 100;
constexpr std::string_view moreText = "and {0} more reports";

/// Takes what goes to standard error, and gives on the one line of it that belongs to the validator's report.
class ReportLines final : public std::streambuf {
public:
    explicit ReportLines(const LiveReport &live) : live_(live) {}

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
        if (live_.line && line_.starts_with(beginning))
            live_.line(line_);
        line_.clear();
    }

    const LiveReport &live_;
    std::string line_;
};

/// How long a judgement may take.
class Deadline {
public:
    explicit Deadline(std::optional<std::chrono::seconds> patience) : patience_(patience) {}

    void check() const {
        if (patience_ && Clock::now() - begin_ > *patience_)
            throw std::runtime_error("It takes longer than " + std::to_string(patience_->count()) +
                                     " seconds");
    }

private:
    using Clock = std::chrono::steady_clock;

    std::optional<std::chrono::seconds> patience_;
    Clock::time_point begin_ = Clock::now();
};

/// Keeps what the core logs, which holds texts of packages as they are, from the streams: all that it has to
/// say of a package is in the report.
class Silence {
public:
    // A stream without a buffer takes what it is given and drops it; with its buffer it is good again.
    explicit Silence(const LiveReport &live) : lines_(live) { Common::Rpm::silenceLibrary(); }
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

/// One package under one profile.
class Judgement {
public:
    Judgement(std::string file, Validator::Profile profile, const JudgeOptions &options) :
        config_(std::make_shared<Validator::Config>(profile, options.target)),
        options_(options),
        deadline_(options.timeout) {
        report_.file = std::move(file);
        report_.profile = Validator::profileName(profile);
    }

    PackageReport take() && {
        for (const auto &[id, shown] : shown_)
            if (shown.more > 0)
                tellMore(shown);
        return std::move(report_);
    }

    void judge() {
        try {
            // First, as it also fills in name and version, which a report has even if the package cannot be
            // judged.
            const auto digest = checkDigest();
            unpackAndJudge(RpmPackage::fromFile(report_.file, {}, Signatures::Unchecked));
            finishDigest(digest);
        } catch (const Interrupted &) {
            // No verdict: the whole run ends.
            throw;
        } catch (const Error &error) {
            const bool isRefusal = error.code() == Common::ErrorCategory::make(ErrorCode::BadPackageContent);
            if (isRefusal)
                reportNames();
            // Whatever else stops the judging says nothing about the package: it must look neither good nor
            // bad.
            conclude(isRefusal ? Verdict::Refused : Verdict::Incomplete, explainedText(error));
        } catch (const std::exception &error) {
            conclude(Verdict::Incomplete, error.what());
        }
    }

private:
    using Digest = std::future<bool>;

    /// Reads what is only read beside the work of unpacking.
    std::shared_ptr<Digest> checkDigest() {
        const Common::Rpm::Reader header = readHeader();
        report_.id = header.tagOr(Tag::Name, "");
        report_.version = header.tagOr(Tag::Version, "") + "-" + header.tagOr(Tag::Release, "");
        const Common::Rpm::PayloadDigest digest(report_.file, header);
        // Its last owner waits for the thread, so that none outlives the judgement, even if that raises.
        return std::make_shared<Digest>(
            std::async(std::launch::async, [digest] { return digest.isRight(); }));
    }

    Common::Rpm::Reader readHeader() {
        try {
            return Common::Rpm::Reader(report_.file, Signatures::Unchecked);
        } catch (const Error &) {
            if (isReadable(Signatures::NorDigests))
                report(Stage::Header, messageOf(ContentRule::HeaderDigestWrong, {}));
            throw;
        }
    }

    bool isReadable(Signatures signatures) const {
        try {
            const Common::Rpm::Reader header(report_.file, signatures);
            return true;
        } catch (const Error &) {
            return false;
        }
    }

    /// The only thing that the reading of the header refuses, before any check of it.
    void reportNames() {
        if (report_.version && !Validator::isUsableVersion(*report_.version))
            report(Stage::Header, messageOf(Validator::HardeningRule::VersionUnusable, {*report_.version}));
        report(Stage::Header, messageOf(ContentRule::NameUnusable, {}));
    }

    void finishDigest(const std::shared_ptr<Digest> &digest) {
        if (digest->get())
            return;
        report(Stage::Files, messageOf(ContentRule::DigestWrong, {}));
        // In place of a refusal as well: the findings are about bytes that the maker did not build.
        conclude(Verdict::Incomplete, wrongDigest);
    }

    void unpackAndJudge(const RpmPackage &package) {
        // A workspace for each package: what one leaves behind cannot be in the way of the next.
        if (options_.keep.empty())
            return judge(package, Workspace());
        judge(package, Workspace(options_.keep, package.id() + "-" + package.version()));
    }

    void judge(const RpmPackage &package, const Workspace &workspace) {
        Progress progress(report_.file, package.files().size());
        RpmPackage::Trial trial;
        trial.config = config_;
        trial.headerFindings = [this](const Validator::Message &m) { report(Stage::Header, m); };
        trial.contentFindings = [this](const Validator::Message &m) { report(Stage::Files, m); };
        trial.beforeVerdict = [&progress] { progress.step(); };
        trial.mostUnpacked = options_.mostUnpacked;
        trial.duringWork = [this] {
            Interruption::check();
            deadline_.check();
        };
        trial.conveyance = std::make_shared<Lookahead>();
        trial.mostOfId = options_.live.finding ? Validator::allOfId : mostShown;
        const std::string refusal = package.validate(workspace.path(), trial);
        if (!refusal.empty())
            conclude(Verdict::Refused, refusal);
    }

    /// Of one id.
    struct Shown {
        std::size_t count = 0;
        std::size_t more = 0;
        std::size_t place = 0; ///< Of the finding that tells how many more there are.
    };

    void report(Stage stage, const Validator::Message &message) {
        // Hidden from the report and its counts. The verdict is the validator's and stays: only what refuses
        // nothing can be hidden.
        if (options_.hidden.contains(std::string(message.entry.id)))
            return;
        ++report_.counts[message.level];
        if (options_.live.finding)
            return options_.live.finding(message);
        Shown &shown = shown_[message.entry.id];
        if (shown.count < mostShown)
            ++shown.count;
        else if (++shown.more > 1)
            return;
        shown.place = report_.findings.size();
        report_.findings.push_back({stage, message, hints_.of(message)});
    }

    void tellMore(const Shown &shown) {
        Validator::Message &message = report_.findings[shown.place].message;
        message.strings = {std::to_string(shown.more)};
        message.text = Validator::composeText(moreText, message.strings);
        message.entry.text = moreText;
        message.path.clear();
        report_.findings[shown.place].hint.clear();
    }

    void conclude(Verdict verdict, const std::string &reason) {
        report_.verdict = verdict;
        report_.reason = reason;
    }

    PackageReport report_;
    std::shared_ptr<Validator::Config> config_;
    Hints hints_{*config_};
    const JudgeOptions &options_;
    Deadline deadline_;
    std::map<std::string_view, Shown> shown_;
};

} // namespace

PackageReport judgePackage(const std::string &file, Validator::Profile profile, const JudgeOptions &options) {
    // One package at a time: the streams are the whole program's.
    const Silence silence(options.live);
    Judgement judgement(file, profile, options);
    judgement.judge();
    return std::move(judgement).take();
}

} // namespace KelpCtl
