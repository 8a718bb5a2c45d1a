#include "kelpctl/command.h"

#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <iostream>

namespace KelpCtl {

namespace {

/// CLI11 prints descriptions as long as they are, whatever the terminal's width.
class WrappingFormatter : public CLI::Formatter {
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override {
        return wrapped(CLI::Formatter::make_help(app, std::move(name), mode), terminalWidth(STDOUT_FILENO));
    }
};

const std::map<std::string, ColourChoice> colourChoices{
    {"auto", ColourChoice::Auto}, {"always", ColourChoice::Always}, {"never", ColourChoice::Never}};

void addGlobalOptions(CLI::App &app, ColourChoice &colour) {
    app.add_option("--color", colour, "When to colour: auto, always or never (auto)")
        ->transform(CLI::CheckedTransformer(colourChoices))
        ->option_text("WHEN");
    // The words hold what was typed, or what a pattern of the shell found: a file name is anybody's.
    app.failure_message([](const CLI::App *, const CLI::Error &error) {
        return shown(error.what()) + "\nRun with --help for more information.\n";
    });
    app.set_version_flag("--version", "kelpctl " KELP_VERSION);
    app.formatter(std::make_shared<WrappingFormatter>());
    // Lets them stand behind the subcommand as well, where people write them.
    app.fallthrough();
}

} // namespace

std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv,
                                                   std::span<const AddCommand> commands) {
    CLI::App app("Works with application packages", "kelpctl");
    Command command;
    ColourChoice colour = ColourChoice::Auto;
    addGlobalOptions(app, colour); // The subcommands inherit how it is set up.
    app.require_subcommand(1);
    for (const AddCommand add : commands)
        add(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        // CLI11 would say that there is none.
        if (error.get_exit_code() != 0 && app.get_subcommands().empty() && !app.remaining().empty()) {
            std::cerr << "No such command: " << shown(app.remaining().front())
                      << "\nRun with --help for more information.\n";
            return ExitStatus::Trouble;
        }
        // Help and version come this way too. CLI11's own numbers of errors are not those of the program.
        return app.exit(error) == 0 && std::cout.flush() ? ExitStatus::Accepted : ExitStatus::Trouble;
    }
    setColour(colour);
    return command;
}

} // namespace KelpCtl
