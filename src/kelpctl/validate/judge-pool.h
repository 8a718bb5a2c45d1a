#pragma once

#include "kelpctl/validate/package-judge.h"
#include "kelpctl/validate/run/channel.h"
#include "kelpctl/validate/run/package-source.h"
#include "kelpctl/validate/run/spool.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <vector>

struct pollfd;

namespace KelpCtl {

/// Judges packages in other processes, the judges. librpm's state belongs to a process, and a package that
/// crashes its judge costs no other package. run() forks a judge whenever it needs one. Until run() has
/// returned, this process must not use librpm or start a thread.
///
/// Reports come in the order of the packages: a finished one waits for the slower packages before it. At most
/// 64 packages are begun and not yet reported.
class JudgePool {
public:
    /// The receivers of the results.
    struct Takers {
        /// Takes the next report. Returns false to end the run.
        std::function<bool(const PackageReport &)> report;
        /// Takes a verdict of an earlier run.
        std::function<void(const KnownVerdict &)> known;
    };

    /// The options must live as long as the pool.
    explicit JudgePool(const JudgeOptions &options);
    JudgePool(const JudgePool &) = delete;
    JudgePool &operator=(const JudgePool &) = delete;
    /// Ends all judges, and waits until they have removed what they unpacked.
    ~JudgePool();

    /// Judges all packages. The verdict is "incomplete" for each report that a package's judge did not send.
    /// That judge has ended early or sent something malformed. Or it exceeded the time limit without noticing
    /// it, and was killed.
    ///
    /// After Interruption::isRequested(), ends all judges, passes on the finished reports, and returns.
    /// Raises std::runtime_error when no judge can be started; fewer than requested suffice. Also raises what
    /// source and takers raise.
    void run(PackageSource &source, const Takers &takers);

private:
    using Clock = std::chrono::steady_clock;

    struct Task {
        std::size_t number; ///< In the order of the packages.
        std::string file;
    };

    struct Judge {
        pid_t process;
        Common::FileDescriptor channel;
        FrameReader answers = {};
        std::optional<Task> task = {};
        Clock::time_point begin = {};
        std::string ending = {}; ///< Why this side ended it; may be empty.
    };

    /// The result of one package.
    struct Result {
        std::string file;
        std::string sha256 = {}; ///< When its judge has asked.
        Spool frames = {};
        std::vector<KnownVerdict> known = {};
        std::set<std::string> missing = {}; ///< The profiles without a result.
        bool isDone = false;
        std::string failure = {}; ///< Why results are missing.
    };

    /// What to do at an unfinished package.
    enum class Gaps { Wait, Pass };

    void handOut(PackageSource &source);
    Judge *idleJudge();
    bool makeJudge();
    std::optional<Task> nextTask(PackageSource &source);
    bool isBusy() const;
    void wait(std::vector<pollfd> files);
    int patience() const;
    void hear(std::list<Judge>::iterator judge);
    void receive(Judge &judge);
    void answer(Judge &judge, const Frame &frame);
    void tellUnknown(const Judge &judge, const std::string &sha256);
    static void keep(const Frame &frame, Result &result);
    void prepareResult(std::size_t number, const std::string &file);
    void bury(std::list<Judge>::iterator judge);
    void endLate();
    bool giveOn(const Takers &takers, Gaps gaps);
    bool giveOn(Result &result, const Takers &takers) const;
    static bool giveFrame(const Frame &frame, const Result &result, std::shared_ptr<Spool> &lines,
                          const Takers &takers);
    bool giveFailure(const Result &result, const Takers &takers) const;
    void endAll();

    const JudgeOptions &options_;
    std::list<Judge> judges_;
    std::map<std::size_t, Result> results_;
    std::size_t nextIn_ = 0;
    std::size_t nextOut_ = 0;
    bool isAtEnd_ = false;
};

} // namespace KelpCtl
