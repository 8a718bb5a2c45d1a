#pragma once

#include "kelp/core/common/errors/error.h"

#include <filesystem>
#include <map>
#include <string>

namespace Core::KELP {

/// That a file of an installed package could not be copied.
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
    int starts = 0; ///< In how many starts running this file failed.

    /// For people.
    std::string text() const;
};

/// Whether an errno tells of what is there, and not of a machine that could not do its work just now: the
/// next start would fail in the same way.
bool isJudgement(int error);

/// For which applications the copy failed at this start, and in how many starts running: the file
/// var/lib/kelp/takeover.failures below the root prefix. What fails at the same file again and again is no
/// accident any more, and must not have every start of the machine try for ever.
class CopyFailures {
public:
    static std::filesystem::path path();

    /// By id. A line that is malformed is passed over. Raises as Common::readIfExists() does.
    static std::map<std::string, CopyFailure> read();

    /// Begins with what the starts before have noted. A file that cannot be read is logged, and counts begin
    /// anew: an application is tried once more.
    CopyFailures();

    /// Notes a failure of this start, durably, and tells whether the application stays in rpm for good. A
    /// full or read-only disk never says so. That it could not be written is logged; then it is not counted.
    bool note(const std::string &id, const CopyError &failure);

    /// Forgets the applications that did not fail at this start, and logs that it could not.
    void conclude();

private:
    void write(const std::map<std::string, CopyFailure> &failures) const;

    std::map<std::string, CopyFailure> before_;
    std::map<std::string, CopyFailure> now_;
};

} // namespace Core::KELP
