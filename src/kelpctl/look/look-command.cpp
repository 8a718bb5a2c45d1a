#include "kelpctl/look/look-command.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <stdexcept>

namespace KelpCtl {

namespace {

struct LookArguments {
    LookOptions look;
    std::optional<std::string> argument;
};

} // namespace

void addLookCommand(CLI::App &app, Command &command, const LookCommand &look) {
    // Shared: CLI11 writes into them after this returns, and the command reads them later.
    const auto arguments = std::make_shared<LookArguments>();
    CLI::App *added = app.add_subcommand(look.name, look.description);
    addLookOptions(*added, arguments->look);
    if (look.argument != LookCommand::Argument::None)
        added->add_option(look.argumentName, arguments->argument, look.argumentDescription)
            ->required(look.argument == LookCommand::Argument::Required)
            ->option_text(" ");
    added->callback([arguments, &command, run = look.run] {
        // The command enters the machine, not the parser: a change of root lasts for the rest of the process.
        command = [arguments, run](std::ostream &output) {
            // A script's empty variable must not ask for all.
            if (arguments->argument == "")
                throw std::invalid_argument("An empty argument names nothing");
            return run(
                {Machine(arguments->look), arguments->argument.value_or(""), arguments->look.isJson, output});
        };
    });
}

} // namespace KelpCtl
