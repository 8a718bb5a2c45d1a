#include "kelpctl/closest-word.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"
#include "kelpctl/text-width.h"
#include "kelpctl/validate/commands.h"
#include "kelpctl/validate/explanations/explanation.h"
#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/all-findings.h"

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <unistd.h>

#include <algorithm>
#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;

using Validator::CatalogueEntry;

struct ExplainArguments {
    std::vector<std::string> ids;
    bool isList = false;
    bool isJson = false;
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

/// Each once, in the order of the first mention, as they come out of a report.
std::vector<CatalogueEntry> entriesOf(const ExplainArguments &arguments) {
    const auto all = Validator::allFindings();
    if (arguments.isList)
        return all;
    std::vector<CatalogueEntry> entries;
    for (const std::string &id : arguments.ids)
        if (std::ranges::find(entries, id, &CatalogueEntry::id) == entries.end())
            entries.push_back(*std::ranges::find(all, id, &CatalogueEntry::id));
    return entries;
}

json::object objectOf(const CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    json::value topic = nullptr;
    if (!explanation.topic.empty())
        topic = explanation.topic;
    return {{"id", entry.id},
            {"level", nameOf(entry.level)},
            {"what", explanation.what},
            {"why", explanation.why},
            {"mend", explanation.mend},
            {"topic", topic},
            {"example", json::object{{"kind", nameOf(explanation.kind)}, {"text", explanation.example}}}};
}

void writeJson(const std::vector<CatalogueEntry> &entries, std::ostream &output) {
    json::array findings;
    for (const CatalogueEntry &entry : entries)
        findings.push_back(objectOf(entry));
    output << json::object{{"findings", std::move(findings)}} << '\n';
}

void writeTexts(const std::vector<CatalogueEntry> &entries, std::ostream &output) {
    for (const CatalogueEntry &entry : entries)
        output << (&entry == entries.data() ? "" : "\n")
               << wrapped(proseOf(entry), terminalWidth(STDOUT_FILENO)) << exampleOf(entry);
}

ExitStatus explain(const ExplainArguments &arguments, std::ostream &output) {
    const std::vector<CatalogueEntry> entries = entriesOf(arguments);
    if (arguments.isJson)
        writeJson(entries, output);
    else if (!arguments.isList)
        writeTexts(entries, output);
    else
        for (const CatalogueEntry &entry : entries)
            output << entry.id << '\t' << nameOf(entry.level) << '\t' << explanationOf(entry.id).what << '\n';
    return ExitStatus::Accepted;
}

} // namespace

void addExplain(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ExplainArguments>();
    CLI::App *explain = app.add_subcommand("explain", "Tell what findings mean and how to mend them");
    auto *ids = explain->add_option("ID", arguments->ids, "The ids of the findings")
                    ->check(CLI::Validator(checkId, "ID"))
                    ->option_text("");
    explain->add_flag("--list", arguments->isList, "List all findings: id, level, what is wrong")
        ->excludes(ids);
    explain->add_flag("--json", arguments->isJson, "Write JSON");
    explain->callback([arguments, &command] {
        if (arguments->ids.empty() && !arguments->isList)
            throw CLI::RequiredError("ID or --list");
        command = [arguments](std::ostream &output) { return KelpCtl::explain(*arguments, output); };
    });
}

} // namespace KelpCtl
