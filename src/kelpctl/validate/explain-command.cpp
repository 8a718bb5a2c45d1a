#include "kelpctl/closest-word.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"
#include "kelpctl/validate/commands.h"
#include "kelpctl/validate/explanations/explanation.h"
#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/all-findings.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <ostream>

namespace KelpCtl {

namespace {

struct ExplainArguments {
    std::string id;
    bool isList = false;
};

/// Told as wrong usage: an id that is spelt wrong must not look like a finding without an explanation.
std::string checkId(const std::string &id) {
    std::vector<std::string> known;
    for (const Validator::CatalogueEntry &entry : Validator::allFindings())
        known.emplace_back(entry.id);
    if (std::ranges::find(known, id) != known.end())
        return "";
    const std::string closest = closestWord(id, known);
    return "There is no finding " + id + "; " +
           (closest.empty() ? "see kelpctl explain --list" : "did you mean " + closest + "?");
}

ExitStatus explain(const ExplainArguments &arguments, std::ostream &output) {
    for (const Validator::CatalogueEntry &entry : Validator::allFindings()) {
        if (arguments.isList)
            output << entry.id << '\t' << nameOf(entry.level) << '\t' << explanationOf(entry.id).what << '\n';
        else if (entry.id == arguments.id)
            output << wrapped(explained(entry), terminalWidth(STDOUT_FILENO));
    }
    return ExitStatus::Accepted;
}

} // namespace

void addExplain(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ExplainArguments>();
    CLI::App *explain = app.add_subcommand("explain", "Tell what a finding means and how to mend it");
    auto *id = explain->add_option("ID", arguments->id, "The id of the finding")
                   ->check(CLI::Validator(checkId, "ID"))
                   ->option_text("");
    explain->add_flag("--list", arguments->isList, "List all findings: id, level, what is wrong")
        ->excludes(id);
    explain->callback([arguments, &command] {
        if (arguments->id.empty() && !arguments->isList)
            throw CLI::RequiredError("ID or --list");
        command = [arguments](std::ostream &output) { return KelpCtl::explain(*arguments, output); };
    });
}

} // namespace KelpCtl
