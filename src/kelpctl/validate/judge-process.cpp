#include "kelpctl/validate/judge-process.h"

#include "kelpctl/validate/report-transfer.h"
#include "kelpctl/validate/run/channel.h"
#include "kelpctl/validate/run/interruption.h"
#include "kelpctl/validate/run/whole-io.h"

#include <unistd.h>

namespace KelpCtl {

namespace {

constexpr std::size_t pieceSize = 0x10000;

void send(int channel, const PackageReport &report) {
    if (report.lines)
        for (std::string piece; !(piece = report.lines->take(pieceSize)).empty();)
            writeFrame(channel, Frame::Kind::Lines, piece);
    writeFrame(channel, Frame::Kind::Report, packed(report));
}

std::vector<PackageReport> judged(const std::string &file, const JudgeOptions &options, bool mayBeLarge) {
    const Interruption::Watch watch;
    // A package without entries, or that cannot be read, asks for no end.
    Interruption::check();
    auto reports = judgePackage(file, options, mayBeLarge);
    Interruption::check();
    return reports;
}

/// Tells of the verdicts that stand, and leaves in the options what is still to be judged.
void tellKnown(int channel, const std::string &file, JudgeOptions &options) {
    std::string sha256;
    try {
        sha256 = sha256OfFile(file);
    } catch (const std::exception &) {
        // What it lacks is said by who judges it.
        return;
    }
    std::erase_if(options.profiles, [&](const auto &profile) {
        const auto verdict = options.known(sha256, profile->name());
        if (verdict)
            writeFrame(channel, Frame::Kind::Known, packed(*verdict, profile->name()));
        return verdict.has_value();
    });
}

void judgeOne(int channel, std::string_view task, const JudgeOptions &options) {
    const std::string file(task.substr(1));
    JudgeOptions rest = options;
    if (options.known)
        tellKnown(channel, file, rest);
    try {
        if (!rest.profiles.empty())
            for (const PackageReport &report : judged(file, rest, task.front() == '1'))
                send(channel, report);
        writeFrame(channel, Frame::Kind::Done);
    } catch (const TooLargeNow &) {
        writeFrame(channel, Frame::Kind::Returned);
    }
}

void judgeAll(int channel, const JudgeOptions &options) {
    FrameReader tasks;
    for (std::string bytes; !(bytes = readSome(channel, pieceSize)).empty();) {
        tasks.add(bytes);
        while (const auto task = tasks.next())
            judgeOne(channel, task->bytes, options);
    }
}

} // namespace

void judgeForOther(int channel, const JudgeOptions &options) {
    try {
        judgeAll(channel, options);
    } catch (const std::exception &) {
        // Interrupted, or nobody takes the reports any more: the other side knows.
    }
    // Not exit(): what the other has not written yet is in this process's buffers too.
    ::_exit(0);
}

} // namespace KelpCtl
