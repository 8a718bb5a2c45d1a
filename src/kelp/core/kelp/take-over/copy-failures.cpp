#include "kelp/core/kelp/take-over/copy-failures.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/places.h"

#include <cerrno>
#include <sstream>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::LogLevel;
using Common::LogStream;

constexpr int startsThatJudge = 3;

/// These errors end once the disk has room or is writable.
bool isOfDisk(int error) {
    return error == ENOSPC || error == EDQUOT || error == EROFS;
}

template<class Operation>
void logged(const Operation &operation) {
    try {
        operation();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

} // namespace

CopyError::CopyError(std::string file, const std::exception &reason) :
    Error(Error(Common::ErrorCode::Filesystem, Common::explainedText(reason)).causedBy(reason)),
    file_(std::move(file)) {}

std::string CopyFailure::text() const {
    const std::string counted = starts > 1 ? ", in " + std::to_string(starts) + " starts running" : "";
    return "could not be copied: " + file + ": " + std::generic_category().message(error) + counted;
}

bool isJudgement(int error) {
    return error == ENAMETOOLONG || error == ELOOP || error == EISDIR || error == ENOTDIR || error == EPERM;
}

fs::path CopyFailures::path() {
    return Common::rootPath() / "var/lib/kelp/takeover.failures";
}

std::map<std::string, CopyFailure> CopyFailures::read() {
    std::map<std::string, CopyFailure> failures;
    std::istringstream lines(Common::readIfExists(path()).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string id;
        CopyFailure failure;
        if (words >> failure.starts >> failure.error >> id >> std::ws && std::getline(words, failure.file)) {
            failure.file = Common::unescapeLine(failure.file);
            failures[id] = failure;
        }
    }
    return failures;
}

CopyFailures::CopyFailures() {
    logged([&] { before_ = read(); });
}

bool CopyFailures::note(const std::string &id, const CopyError &failure) {
    const int error = failure.systemError();
    if (error == 0 || isOfDisk(error))
        return false;
    const auto last = before_.find(id);
    const bool isAgain = last != before_.end() && last->second.file == failure.file();
    const int starts = isAgain ? last->second.starts + 1 : 1;
    now_[id] = {failure.file(), error, starts};
    // Keeps the counts of applications that are still to come: a kill must not reset them.
    auto all = before_;
    for (const auto &[other, its] : now_)
        all[other] = its;
    bool isWritten = false;
    logged([&] {
        write(all);
        isWritten = true;
    });
    return isWritten && (isJudgement(error) || starts >= startsThatJudge);
}

void CopyFailures::conclude() {
    if (before_.empty() && now_.empty())
        return;
    logged([&] { write(now_); });
}

void CopyFailures::write(const std::map<std::string, CopyFailure> &failures) const {
    std::ostringstream lines;
    for (const auto &[id, failure] : failures)
        lines << failure.starts << ' ' << failure.error << ' ' << id << ' '
              << Common::escapeLine(failure.file) << '\n';
    Common::createDirectories(path().parent_path());
    if (failures.empty())
        Common::removeAll(path());
    else
        Common::replaceDurably(path(), lines.str());
    Common::flushFile(path().parent_path());
}

} // namespace Core::KELP
