#pragma once

#include <functional>
#include <iosfwd>
#include <span>
#include <variant>

namespace CLI {
class App;
}

namespace KelpCtl {

/// The exit status of the program, the worst last.
enum class ExitStatus {
    Accepted = 0, ///< All went well.
    Refused = 1,  ///< The answer is no: a package was refused, nothing has the name, or there is a finding.
    Trouble = 2,  ///< Wrong usage, or the work could not be completed.
};

/// The chosen command. It writes its results to `output`, which is standard output. Meanwhile std::cout leads
/// to standard error, since the core logs to std::cout. An exception ends the program, and its text is
/// printed. The status is then ExitStatus::Refused for ErrorCode::PackageNotExist, and ExitStatus::Trouble
/// for any other.
using Command = std::function<ExitStatus(std::ostream &output)>;

/// Adds one subcommand to the command line. If it is chosen, it sets `command`.
using AddCommand = void (*)(CLI::App &app, Command &command);

/// The chosen command. If the command line only asks for help or the version, or is wrong, prints the text,
/// and returns the exit status.
std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv,
                                                   std::span<const AddCommand> commands);

} // namespace KelpCtl
