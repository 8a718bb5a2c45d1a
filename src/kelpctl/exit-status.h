#pragma once

namespace KelpCtl {

/// The exit status of the program, the worst last.
enum class ExitStatus {
    Accepted = 0, ///< All went well.
    Refused = 1,  ///< The answer is no: at least one package was refused.
    Trouble = 2,  ///< Wrong usage, or what was asked for could not be done to the end.
};

} // namespace KelpCtl
