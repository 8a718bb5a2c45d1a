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
    Refused = 1,  ///< The answer is no: at least one package was refused.
    Trouble = 2,  ///< Wrong usage, or what was asked for could not be done to the end.
};

/// What the command line asks for. Its results go to the stream that it is given, which is standard output;
/// std::cout itself leads to standard error meanwhile, as the core logs there. What it raises ends the
/// program with its text and ExitStatus::Trouble.
using Command = std::function<ExitStatus(std::ostream &output)>;

/// Adds one subcommand to the command line, and has it set `command` when it is the one that was asked for.
using AddCommand = void (*)(CLI::App &app, Command &command);

/// What the command line asks for of the commands, or the exit status when it asks only for help or is wrong;
/// the text about it is on standard output or standard error by then.
std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv,
                                                   std::span<const AddCommand> commands);

} // namespace KelpCtl
