#include "kelpctl/validate/commands.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>

namespace KelpCtl {

namespace {

using Configuration::PatternSet;
using Validator::Config;

struct List {
    const char *kind;
    const char *status;
    const PatternSet &(Config::*rows)() const;
};

constexpr List lists[] = {
    {"path", "allowed", &Config::allowedPaths},
    {"permission", "allowed", &Config::allowedPermissions},
    {"library", "allowed", &Config::allowedLibraries},
    {"library", "unstable", &Config::unstableLibraries},
    {"library", "deprecated", &Config::deprecatedLibraries},
    {"requires", "allowed", &Config::allowedRequires},
    {"requires", "unstable", &Config::unstableRequires},
    {"requires", "deprecated", &Config::deprecatedRequires},
    {"import", "allowed", &Config::allowedQmlImports},
    {"import", "unstable", &Config::unstableQmlImports},
    {"import", "deprecated", &Config::deprecatedQmlImports},
    {"import", "reserved", &Config::reservedQmlImports},
    {"mime-type", "forbidden", &Config::forbiddenMimeTypes},
};

/// In byte order, so that the rules of two profiles or versions can be compared by diff.
void write(std::ostream &output, const List &list, const PatternSet &rows) {
    std::vector<std::string> texts = rows.texts();
    std::ranges::sort(texts);
    for (const std::string &text : texts)
        output << list.kind << '\t' << list.status << '\t' << text << '\n';
}

/// Where every package may install, ID being its name.
void writePlaces(std::ostream &output, const Config &config) {
    for (const std::string &place :
         {config.binDir() + "ID", config.libexecDir() + "ID", config.libexecDir() + "ID/...",
          config.shareDir() + "ID...", config.shareDir() + "common/ORGANIZATION/...",
          config.iconsDir() + "...", config.applicationsDir() + "ID.desktop",
          std::string("/etc/integrityd/config.d/ID.json")})
        output << "path\tallowed\t" << place << '\n';
}

ExitStatus writeRules(const std::string &profile, std::ostream &output) {
    // For a target, lest the developer mode of this machine is read and talked about.
    const Config config(Validator::profileFromName(profile), Validator::Target{});
    output << "desktop-file\t" << (config.isDesktopFileRequired() ? "required" : "optional") << '\n';
    for (const std::int32_t size : config.iconSizes())
        output << "icon\t" << (config.isIconRequired({}) ? "required" : "optional") << '\t' << size << 'x'
               << size << '\n';
    if (!config.requiredPackage().empty())
        output << "provides\trequired\t" << config.requiredPackage() << "\nconflicts\trequired\t"
               << config.requiredPackage() << '\n';
    writePlaces(output, config);
    for (const List &list : lists)
        write(output, list, (config.*list.rows)());
    return ExitStatus::Accepted;
}

} // namespace

void addRules(CLI::App &app, Command &command) {
    const auto profile = std::make_shared<std::string>("regular");
    CLI::App *rules = app.add_subcommand("rules", "Tell what a profile allows, a line for each rule");
    rules->add_option("--profile", *profile, "The profile")
        ->check(
            CLI::IsMember({"regular", "extended", "mdm", "antivirus", "auth", "market", "systemapp", "pwa"}))
        ->option_text("NAME (regular)");
    rules->callback([profile, &command] {
        command = [profile](std::ostream &output) { return writeRules(*profile, output); };
    });
}

} // namespace KelpCtl
