#pragma once

#include "kelp/core/common/errors/error.h"

#include <filesystem>
#include <map>
#include <string>

namespace Core::KELP {

/// A file of an installed package could not be copied.
class CopyError : public Common::Error {
public:
    /// `file` is the installed one; text and errno are those of `reason`.
    CopyError(std::string file, const std::exception &reason);

    const std::string &file() const { return file_; }

private:
    std::string file_;
};

/// The failure of one application's last copy.
struct CopyFailure {
    std::string file;
    int error = 0;  ///< An errno.
    int starts = 0; ///< Consecutive starts at which this file failed.

    /// For people.
    std::string text() const;
};

/// Whether an errno is the file's fault, so that the next start would fail likewise, and not a passing
/// failure of the machine.
bool isJudgement(int error);

/// The applications whose failed copy was noted, each with the number of consecutive starts at which it
/// failed at the same file. They are kept in var/lib/kelp/takeover.failures below the root prefix. By that
/// number the launcher stops retrying a copy. After some errors it stops at the first start (isJudgement()).
class CopyFailures {
public:
    static std::filesystem::path path();

    /// By id. A line that is malformed is passed over. Raises as Common::readIfExists() does.
    static std::map<std::string, CopyFailure> read();

    /// Begins with what the starts before have noted. A file that cannot be read is logged, and counts begin
    /// anew: an application is tried more often.
    CopyFailures();

    /// Notes a failure of this start, durably, and tells whether the application stays in rpm for good. A
    /// failure of a full or read-only disk, or one without an errno, is not noted, and never makes it stay.
    /// If the note cannot be written, that is logged, and the application does not stay.
    bool note(const std::string &id, const CopyError &failure);

    /// Forgets the applications of which this start has noted no failure. A failure to write is logged.
    void conclude();

private:
    void write(const std::map<std::string, CopyFailure> &failures) const;

    std::map<std::string, CopyFailure> before_;
    std::map<std::string, CopyFailure> now_;
};

} // namespace Core::KELP
