#include "kelpctl/command.h"

#include "kelpctl/closest-word.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <iostream>

namespace KelpCtl {

namespace {

/// CLI11 does not wrap descriptions to the terminal's width.
class WrappingFormatter : public CLI::Formatter {
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override {
        return wrapped(CLI::Formatter::make_help(app, std::move(name), mode), terminalWidth(STDOUT_FILENO));
    }
};

const std::map<std::string, ColourChoice> colourChoices{
    {"auto", ColourChoice::Auto}, {"always", ColourChoice::Always}, {"never", ColourChoice::Never}};

std::vector<std::string> namesOf(const std::vector<const CLI::App *> &commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const CLI::App *command : commands)
        names.push_back(command->get_name());
    return names;
}

/// Those of the chosen command, and the global ones.
std::vector<std::string> optionsOf(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *place : {static_cast<const CLI::App *>(app.get_subcommands().front()), &app})
        for (const CLI::Option *option : place->get_options())
            for (const std::string &name : option->get_lnames())
                names.push_back("--" + name);
    return names;
}

/// CLI11's message, with the word that was probably meant.
std::string wordsFor(const CLI::App &app, const CLI::Error &error) {
    const std::vector<std::string> extras = app.remaining(true);
    if (extras.empty())
        return error.what();
    // CLI11 would report that it is missing.
    if (app.get_subcommands().empty())
        return "No such command: " + extras.front() +
               suggestion(extras.front(), namesOf(app.get_subcommands(nullptr)));
    const std::string option = extras.front().substr(0, extras.front().find('='));
    const bool isOption = dynamic_cast<const CLI::ExtrasError *>(&error) && option.starts_with("--");
    return error.what() + (isOption ? suggestion(option, optionsOf(app)) : "");
}

constexpr const char *rootOption = "--root";

void addGlobalOptions(CLI::App &app, ColourChoice &colour) {
    app.add_option(rootOption, "With commands that look: the root directory of another machine")
        ->option_text("DIR");
    app.add_option("--color", colour, "When to colour: auto, always or never (auto)")
        ->transform(CLI::CheckedTransformer(colourChoices))
        ->option_text("WHEN");
    // The message holds typed words, or file names that a shell pattern found: those are foreign.
    app.failure_message([](const CLI::App *failed, const CLI::Error &error) {
        return shown(wordsFor(*failed, error)) + "\nRun with --help for more information.\n";
    });
    app.set_version_flag("--version", "kelpctl " KELP_VERSION);
    app.formatter(std::make_shared<WrappingFormatter>());
    // Allows them after the subcommand as well, where people write them.
    app.fallthrough();
}

/// After the command, --root is that command's own option. Before it, it is handed on to the command. A
/// command without it must fail, and not work on this machine instead.
void handRootOn(CLI::App &app) {
    const CLI::Option &given = *app.get_option(rootOption);
    if (given.count() == 0)
        return;
    CLI::App &chosen = *app.get_subcommands().front();
    CLI::Option *own = chosen.get_option_no_throw(rootOption);
    if (!own)
        throw CLI::ParseError(chosen.get_name() + " takes no --root: chroot into an image for it",
                              CLI::ExitCodes::ExtrasError);
    own->add_result(given.results());
    own->run_callback();
}

} // namespace

std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv,
                                                   std::span<const AddCommand> commands) {
    CLI::App app("Works with application packages", "kelpctl");
    Command command;
    ColourChoice colour = ColourChoice::Auto;
    addGlobalOptions(app, colour); // The subcommands inherit these settings.
    app.require_subcommand(1);
    for (const AddCommand add : commands)
        add(app, command);
    try {
        app.parse(argc, argv);
        handRootOn(app);
    } catch (const CLI::ParseError &error) {
        // Help and version come this way too. CLI11's own numbers of errors are not those of the program.
        return app.exit(error) == 0 && std::cout.flush() ? ExitStatus::Accepted : ExitStatus::Trouble;
    }
    setColour(colour);
    return command;
}

} // namespace KelpCtl
