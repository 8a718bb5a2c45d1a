#include "kelpctl/validate/judge-process.h"

#include "kelpctl/validate/package-report.h"
#include "kelpctl/validate/run/channel.h"
#include "kelpctl/validate/run/interruption.h"

#include "kelp/core/common/files/file-identity.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <set>
#include <sstream>

namespace KelpCtl {

namespace {

constexpr std::size_t pieceSize = 0x10000;

/// In place of a report that no frame can hold: a name of the package may have any length.
PackageReport withoutFindings(const PackageReport &report) {
    PackageReport rest;
    rest.profile = report.profile;
    rest.osVersion = report.osVersion;
    rest.sha256 = report.sha256;
    rest.verdict = Verdict::Incomplete;
    rest.reason = "The report is too long";
    return rest;
}

void send(int channel, const PackageReport &report) {
    if (report.lines)
        for (std::string piece; !(piece = report.lines->take(pieceSize)).empty();)
            writeFrame(channel, Frame::Kind::Lines, piece);
    std::string bytes = packed(report);
    if (bytes.size() > longestFrame)
        bytes = packed(withoutFindings(report));
    writeFrame(channel, Frame::Kind::Report, bytes);
}

/// Nothing for a file at which no look is possible.
std::optional<Common::FileIdentity> identityOf(const std::string &file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? std::optional(Common::identityOf(status)) : std::nullopt;
}

std::vector<PackageReport> judged(const std::string &file, const JudgeOptions &options) {
    const Interruption::Watch watch;
    // For packages that never check: those without entries, or unreadable ones.
    Interruption::check();
    auto reports = judgePackage(file, options);
    Interruption::check();
    return reports;
}

/// The judge's side of a channel.
class Judge {
public:
    Judge(int channel, const JudgeOptions &options) : channel_(channel), options_(options) {}

    void judgeAll() {
        while (const auto task = receive())
            judge(task->bytes);
    }

private:
    /// Nothing at the end.
    std::optional<Frame> receive() {
        while (true) {
            if (auto frame = frames_.next())
                return frame;
            const std::string bytes = readSome(channel_, pieceSize);
            if (bytes.empty())
                return std::nullopt;
            frames_.add(bytes);
        }
    }

    void judge(const std::string &file) {
        const auto begun = identityOf(file);
        JudgeOptions rest = options_;
        if (options_.known)
            leaveUnknown(file, rest);
        if (!rest.profiles.empty())
            for (PackageReport &report : judged(file, rest)) {
                // Its digest may be that of other bytes than the judged ones: a later run would go by it.
                if (identityOf(file) != begun) {
                    report.verdict = Verdict::Incomplete;
                    report.reason = "The package file has changed meanwhile";
                }
                send(channel_, report);
            }
        writeFrame(channel_, Frame::Kind::Done);
    }

    /// Leaves only the profiles to judge in the options. The other side knows them, since it keeps learning
    /// verdicts.
    void leaveUnknown(const std::string &file, JudgeOptions &options) {
        try {
            options.sha256 = sha256OfFile(file);
        } catch (const std::exception &) {
            // The judgement itself will report the failure.
            return;
        }
        writeFrame(channel_, Frame::Kind::Digest, options.sha256);
        std::istringstream answer(receive().value().bytes);
        std::set<std::string> unknown;
        for (std::string profile; std::getline(answer, profile);)
            unknown.insert(profile);
        std::erase_if(options.profiles,
                      [&unknown](const auto &profile) { return !unknown.contains(profile->name()); });
    }

    int channel_;
    const JudgeOptions &options_;
    FrameReader frames_;
};

} // namespace

void judgeForOther(int channel, const JudgeOptions &options) {
    try {
        if (options.leaveRun)
            options.leaveRun();
        Judge(channel, options).judgeAll();
    } catch (const std::exception &) {
        // Interrupted, or the other side takes no more reports: it knows.
    }
    // Not exit(): this process's copy of the other's unwritten buffers must not be flushed.
    ::_exit(0);
}

} // namespace KelpCtl
