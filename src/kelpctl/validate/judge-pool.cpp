#include "kelpctl/validate/judge-pool.h"

#include "kelpctl/validate/judge-process.h"
#include "kelpctl/validate/package-report.h"
#include "kelpctl/validate/run/channel.h"
#include "kelpctl/validate/run/interruption.h"
#include "kelpctl/validate/run/workspace.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace KelpCtl {

namespace {

/// The most packages that are begun and not reported: results wait for a slow one.
constexpr std::size_t window = 64;
constexpr std::size_t chunkSize = 0x40000;

constexpr const char *malformed = "The judge's answer is malformed";

std::string endOf(int status) {
    if (WIFEXITED(status))
        return "Its judge ended with status " + std::to_string(WEXITSTATUS(status));
    const char *name = ::sigabbrev_np(WTERMSIG(status));
    return "Its judge was ended by the signal " + (name ? "SIG" + std::string(name) : "of an unknown name");
}

/// If the judge has ended, the read of its channel will show it.
void tell(int channel, Frame::Kind kind, const std::string &bytes) {
    try {
        writeFrame(channel, kind, bytes);
    } catch (const std::system_error &) {
    }
}

PackageReport incompleteReport(const Validator::Config &profile, const std::string &reason) {
    PackageReport report;
    report.profile = profile.name();
    report.osVersion = profile.osVersion();
    report.verdict = Verdict::Incomplete;
    report.reason = reason;
    report.lines = std::make_shared<Spool>();
    return report;
}

} // namespace

JudgePool::JudgePool(const JudgeOptions &options) : options_(options) {
    for (const auto &place : workspacePlaces())
        Workspace::clearLeft(place);
}

JudgePool::~JudgePool() {
    endAll();
}

void JudgePool::run(PackageSource &source, const Takers &takers) {
    isAtEnd_ = false;
    do {
        handOut(source);
        if (isBusy() || source.isWaiting())
            wait({{Interruption::descriptor(), POLLIN, 0},
                  {source.isWaiting() ? source.descriptor() : -1, POLLIN, 0}});
        endLate();
        if (!giveOn(takers, Gaps::Wait))
            return;
    } while (!Interruption::isRequested() && (isBusy() || !isAtEnd_));
    endAll();
    giveOn(takers, Gaps::Pass);
}

void JudgePool::handOut(PackageSource &source) {
    while (Judge *judge = idleJudge()) {
        auto task = nextTask(source);
        if (!task)
            return;
        judge->begin = Clock::now();
        judge->task = std::move(task);
        tell(judge->channel.get(), Frame::Kind::Task, judge->task->file);
    }
}

/// An idle judge; null when all are at work. Makes a process if there is none.
JudgePool::Judge *JudgePool::idleJudge() {
    const auto idle = std::ranges::find_if(judges_, [](const Judge &judge) { return !judge.task; });
    if (idle != judges_.end())
        return &*idle;
    return judges_.size() < options_.jobs && makeJudge() ? &judges_.back() : nullptr;
}

/// Fewer judges than requested will do, but not none.
bool JudgePool::makeJudge() {
    int ends[2];
    const bool hasChannel = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
    Common::FileDescriptor ours(hasChannel ? ends[0] : -1), its(hasChannel ? ends[1] : -1);
    const pid_t self = ::getpid();
    const pid_t process = hasChannel ? ::fork() : -1;
    if (process == 0) {
        // Closes the other judges' channels, which must end with their own processes.
        judges_.clear();
        ours = Common::FileDescriptor();
        Interruption::serveAnother();
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != self)
            ::_exit(0);
        judgeForOther(its.get(), options_);
    }
    if (process > 0)
        judges_.push_back({process, std::move(ours)});
    else if (judges_.empty())
        throw std::system_error(errno, std::generic_category(), "Couldn't start a judge");
    return process > 0;
}

std::optional<JudgePool::Task> JudgePool::nextTask(PackageSource &source) {
    if (isAtEnd_ || nextIn_ >= nextOut_ + window)
        return std::nullopt;
    auto file = source.next();
    if (!file) {
        isAtEnd_ = !source.isWaiting();
        return std::nullopt;
    }
    prepareResult(nextIn_, *file);
    return Task{nextIn_++, std::move(*file)};
}

bool JudgePool::isBusy() const {
    return std::ranges::any_of(judges_, [](const Judge &judge) { return judge.task.has_value(); });
}

/// Waits for a message of a judge, for one that takes too long, or for one of the other files.
void JudgePool::wait(std::vector<pollfd> files) {
    const auto others = static_cast<std::ptrdiff_t>(files.size());
    for (const Judge &judge : judges_)
        files.push_back({judge.channel.get(), POLLIN, 0});
    if (::poll(files.data(), files.size(), isBusy() ? patience() : -1) <= 0)
        return;
    auto file = files.begin() + others;
    for (auto judge = judges_.begin(); judge != judges_.end(); ++file)
        if (const auto current = judge++; file->revents != 0)
            hear(current);
}

void JudgePool::hear(std::list<Judge>::iterator judge) {
    try {
        receive(*judge);
    } catch (const std::exception &error) {
        judge->ending = error.what();
    }
    if (judge->channel.get() < 0 || !judge->ending.empty())
        bury(judge);
}

/// Milliseconds until the next judge takes too long, or for ever.
int JudgePool::patience() const {
    if (!options_.timeout)
        return -1;
    const std::chrono::seconds most = *options_.timeout + options_.grace;
    auto left = most;
    for (const Judge &judge : judges_)
        if (judge.task)
            left = std::min(left, std::chrono::ceil<std::chrono::seconds>(judge.begin + most - Clock::now()));
    return static_cast<int>(std::clamp<std::chrono::milliseconds>(left, {}, std::chrono::hours(1)).count());
}

/// Closes the channel of a judge that has ended.
void JudgePool::receive(Judge &judge) {
    std::string bytes;
    try {
        bytes = readSome(judge.channel.get(), chunkSize);
    } catch (const std::system_error &) {
        // The judge ended before it read its task, which resets the channel. The signal says more.
    }
    if (bytes.empty())
        judge.channel = Common::FileDescriptor();
    judge.answers.add(bytes);
    while (const auto frame = judge.answers.next())
        answer(judge, *frame);
}

void JudgePool::answer(Judge &judge, const Frame &frame) {
    if (!judge.task)
        throw std::runtime_error("The judge answers what nobody has asked");
    if (frame.kind == Frame::Kind::Digest)
        return tellUnknown(judge, frame.bytes);
    if (frame.kind != Frame::Kind::Done)
        return keep(frame, results_.at(judge.task->number));
    results_.at(judge.task->number).isDone = true;
    judge.task.reset();
}

void JudgePool::prepareResult(std::size_t number, const std::string &file) {
    Result &result = results_[number];
    result.file = file;
    for (const auto &profile : options_.profiles)
        result.missing.insert(profile->name());
}

/// Tells the judge the profiles of its package without a verdict.
void JudgePool::tellUnknown(const Judge &judge, const std::string &sha256) {
    Result &result = results_.at(judge.task->number);
    if (!options_.known || !result.sha256.empty())
        throw std::runtime_error(malformed);
    result.sha256 = sha256;
    std::string unknown;
    for (const auto &profile : options_.profiles)
        if (const auto verdict = options_.known(sha256, profile->name())) {
            result.known.push_back(*verdict);
            result.missing.erase(profile->name());
        } else {
            unknown += profile->name() + '\n';
        }
    tell(judge.channel.get(), Frame::Kind::Unknown, unknown);
}

/// Keeps the report for its turn. A wrong one is detected now, while its judge can be blamed.
void JudgePool::keep(const Frame &frame, Result &result) {
    const bool isReport = frame.kind == Frame::Kind::Report;
    if (isReport ? result.missing.erase(unpacked(frame.bytes).profile) == 0
                 : frame.kind != Frame::Kind::Lines)
        throw std::runtime_error(malformed);
    result.frames.append(packFrame(frame.kind, frame.bytes));
}

/// For a judge that has ended or must end.
void JudgePool::bury(std::list<Judge>::iterator judge) {
    if (!judge->ending.empty())
        ::kill(judge->process, SIGKILL);
    int status = 0;
    while (::waitpid(judge->process, &status, 0) < 0 && errno == EINTR) {
    }
    if (judge->task && !Interruption::isRequested()) {
        Result &result = results_.at(judge->task->number);
        result.isDone = true;
        result.failure = judge->ending.empty() ? endOf(status) : judge->ending;
    }
    judges_.erase(judge);
    // Its unpacked package is still there.
    for (const auto &place : workspacePlaces())
        Workspace::clearLeft(place);
}

void JudgePool::endLate() {
    if (!options_.timeout)
        return;
    for (Judge &judge : judges_)
        if (judge.task && judge.ending.empty() &&
            Clock::now() > judge.begin + *options_.timeout + options_.grace) {
            judge.ending = tooLong(*options_.timeout);
            ::kill(judge.process, SIGKILL);
        }
}

/// Gives on reports in the order of the packages. False when they are not wanted any more.
bool JudgePool::giveOn(const Takers &takers, Gaps gaps) {
    auto next = results_.begin();
    for (; next != results_.end() && (next->second.isDone || gaps == Gaps::Pass);
         next = results_.erase(next), ++nextOut_)
        if (!giveOn(next->second, takers))
            return false;
    return true;
}

bool JudgePool::giveOn(Result &result, const Takers &takers) const {
    for (const KnownVerdict &verdict : result.known)
        takers.known(verdict);
    auto lines = std::make_shared<Spool>();
    FrameReader frames;
    for (std::string bytes; !(bytes = result.frames.take(chunkSize)).empty();) {
        frames.add(bytes);
        while (const auto frame = frames.next())
            if (!giveFrame(*frame, result, lines, takers))
                return false;
    }
    return giveFailure(result, takers);
}

bool JudgePool::giveFrame(const Frame &frame, const Result &result, std::shared_ptr<Spool> &lines,
                          const Takers &takers) {
    if (frame.kind == Frame::Kind::Lines) {
        lines->append(frame.bytes);
        return true;
    }
    PackageReport report = unpacked(frame.bytes);
    report.file = result.file; // Not the judge's own text: it has read a hostile package.
    report.lines = std::exchange(lines, std::make_shared<Spool>());
    return takers.report(report);
}

/// Reports the failure in place of the missing reports.
bool JudgePool::giveFailure(const Result &result, const Takers &takers) const {
    if (!result.isDone)
        return true;
    const std::string reason = result.failure.empty() ? malformed : result.failure;
    return std::ranges::all_of(options_.profiles, [&](const auto &profile) {
        if (!result.missing.contains(profile->name()))
            return true;
        PackageReport report = incompleteReport(*profile, reason);
        report.file = result.file;
        report.sha256 = result.sha256;
        return takers.report(report);
    });
}

void JudgePool::endAll() {
    for (const Judge &judge : judges_) {
        ::shutdown(judge.channel.get(), SHUT_WR);
        if (judge.task)
            ::kill(judge.process, SIGTERM);
    }
    while (!judges_.empty())
        wait({});
}

} // namespace KelpCtl
