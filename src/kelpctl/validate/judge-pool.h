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

/// Judges packages by processes, since librpm's state is a process's own, and since a package that ends its
/// judge costs no other package then. They are forked from this process, which must not have used librpm or
/// started a thread.
///
/// Reports come in the order of the packages. As many as 64 packages are under way at once, of which those
/// that are judged wait for one that takes longer.
class JudgePool {
public:
    /// Who takes what comes of the packages.
    struct Takers {
        /// The next report. Whether it could be used: when not, the run ends.
        std::function<bool(const PackageReport &)> report;
        /// A verdict that stands already.
        std::function<void(const KnownVerdict &)> known;
    };

    /// The options must live as long as the pool.
    explicit JudgePool(const JudgeOptions &options);
    JudgePool(const JudgePool &) = delete;
    JudgePool &operator=(const JudgePool &) = delete;
    /// Ends all judges, and waits until they have removed what they unpacked.
    ~JudgePool();

    /// Has all packages judged. A package whose judge ends is incomplete, for that reason, and so is one that
    /// takes longer than it may and whose judge does not see to that itself.
    ///
    /// When Interruption::isRequested(), ends all judges, gives on the reports that are finished, and
    /// returns. Raises std::runtime_error when there are no processes to be had.
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
        std::string ending = {}; ///< Why it was ended from here; empty when it was not.
    };

    /// What came of one package.
    struct Result {
        std::string file;
        std::string sha256 = {}; ///< When its judge has asked.
        Spool frames = {};
        std::vector<KnownVerdict> known = {};
        std::set<std::string> missing = {}; ///< The profiles of which neither says anything.
        bool isDone = false;
        std::string failure = {}; ///< Of what is missing.
    };

    /// Where a package is not done yet.
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
