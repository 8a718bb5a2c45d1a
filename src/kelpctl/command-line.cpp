#include "kelpctl/command-line.h"

#include <CLI/CLI.hpp>

namespace KelpCtl {

namespace {

void addValidate(CLI::App &app, ValidateOptions &options, std::string &profile) {
    CLI::App *validate = app.add_subcommand("validate", "Judge packages as their installation would");
    validate->add_option("--profile", profile, "The kind of package that the developer may make (regular)")
        ->check(
            CLI::IsMember({"regular", "extended", "mdm", "antivirus", "auth", "market", "systemapp", "pwa"}));
    validate->add_option("--keep", options.keep, "Keep what was unpacked of each in DIR/ID-VERSION")
        ->type_name("DIR");
    validate->add_option("FILE.rpm", options.packages, "The package files")->required();
}

} // namespace

std::variant<ValidateOptions, ExitStatus> parseCommandLine(int argc, const char *const *argv) {
    ValidateOptions options;
    std::string profile = "regular";
    CLI::App app("Works with application packages", "kelpctl");
    app.require_subcommand(1);
    addValidate(app, options, profile);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? ExitStatus::Accepted : ExitStatus::Trouble;
    }
    options.profile = Validator::profileFromName(profile);
    return options;
}

} // namespace KelpCtl
