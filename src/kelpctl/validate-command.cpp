#include "kelpctl/command.h"
#include "kelpctl/terminal.h"
#include "kelpctl/validate-packages.h"

#include "kelp/core/kelp/validator/framework/logger.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

namespace KelpCtl {

namespace {

struct Arguments {
    ValidateOptions options;
    std::string profile = "regular";
};

ExitStatus validate(Arguments &arguments, std::ostream &output) {
    Validator::Logger::setColoured(isColoured(STDERR_FILENO));
    arguments.options.profile = Validator::profileFromName(arguments.profile);
    return validatePackages(arguments.options, output);
}

} // namespace

void addValidate(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App *validate = app.add_subcommand("validate", "Judge packages as their installation would");
    validate->add_option("--profile", arguments->profile, "The kind of package that the developer may make")
        ->check(
            CLI::IsMember({"regular", "extended", "mdm", "antivirus", "auth", "market", "systemapp", "pwa"}))
        ->option_text("NAME (regular)");
    validate
        ->add_option("--keep", arguments->options.keep, "Keep what was unpacked of each in DIR/ID-VERSION")
        ->type_name("DIR");
    validate->add_option("FILE.rpm", arguments->options.packages, "The package files")->required();
    validate->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::validate(*arguments, output); };
    });
}

} // namespace KelpCtl
