#include "kelpctl/closest-word.h"
#include "kelpctl/explanations/explanation.h"
#include "kelpctl/explanations/machine-words.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"
#include "kelpctl/validate/commands.h"
#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/catalogue.h"

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

/// A misspelt id is wrong usage: it must not look like a finding without an explanation.
std::string checkId(const std::string &id) {
    std::vector<std::string> known;
    for (const Validator::CatalogueEntry &entry : Validator::allFindings())
        known.emplace_back(entry.id);
    for (const MachineWord &word : machineWords())
        known.emplace_back(word.word);
    if (std::ranges::find(known, id) != known.end())
        return "";
    const std::string closest = closestWord(id, known);
    return "There is no finding " + id + "; " +
           (closest.empty() ? "see kelpctl explain --list" : "did you mean " + closest + "?");
}

/// Each once, in the order of first mention, like the ids of a report.
std::vector<CatalogueEntry> entriesOf(const ExplainArguments &arguments) {
    auto all = Validator::allFindings();
    if (arguments.isList)
        return all;
    std::vector<CatalogueEntry> entries;
    for (const std::string &id : arguments.ids) {
        const auto found = std::ranges::find(all, id, &CatalogueEntry::id);
        if (found != all.end() && std::ranges::find(entries, id, &CatalogueEntry::id) == entries.end())
            entries.push_back(*found);
    }
    return entries;
}

/// A word that doctor and status both have is explained for both.
std::vector<MachineWord> wordsOf(const ExplainArguments &arguments) {
    std::vector<MachineWord> words;
    for (const MachineWord &word : machineWords())
        if (arguments.isList || std::ranges::find(arguments.ids, word.word) != arguments.ids.end())
            words.push_back(word);
    return words;
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

void writeJson(const std::vector<CatalogueEntry> &entries, const std::vector<MachineWord> &words,
               std::ostream &output) {
    json::array findings;
    for (const CatalogueEntry &entry : entries)
        findings.push_back(objectOf(entry));
    json::array machine;
    for (const MachineWord &word : words)
        machine.push_back(json::object{{"word", word.word},
                                       {"place", word.place},
                                       {"what", word.what},
                                       {"mend", word.mend},
                                       {"help", helpOf(word)}});
    output << json::object{{"findings", std::move(findings)}, {"machine", std::move(machine)}} << '\n';
}

void writeTexts(const std::vector<CatalogueEntry> &entries, const std::vector<MachineWord> &words,
                std::ostream &output) {
    const std::size_t width = terminalWidth(STDOUT_FILENO);
    for (const CatalogueEntry &entry : entries)
        output << (&entry == entries.data() ? "" : "\n") << wrapped(proseOf(entry), width)
               << exampleOf(entry);
    for (const MachineWord &word : words)
        output << (entries.empty() && &word == words.data() ? "" : "\n") << wrapped(proseOf(word), width);
}

void writeList(const std::vector<CatalogueEntry> &entries, const std::vector<MachineWord> &words,
               std::ostream &output) {
    for (const CatalogueEntry &entry : entries)
        output << entry.id << '\t' << nameOf(entry.level) << '\t' << explanationOf(entry.id).what << '\n';
    for (const MachineWord &word : words)
        output << word.word << '\t' << word.place << '\t' << word.what << '\n';
}

ExitStatus explain(const ExplainArguments &arguments, std::ostream &output) {
    const std::vector<CatalogueEntry> entries = entriesOf(arguments);
    const std::vector<MachineWord> words = wordsOf(arguments);
    (arguments.isJson ? writeJson : arguments.isList ? writeList : writeTexts)(entries, words, output);
    return ExitStatus::Accepted;
}

} // namespace

void addExplain(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ExplainArguments>();
    CLI::App *explain = app.add_subcommand("explain", "Tell what findings and states mean and what to do");
    auto *ids =
        explain->add_option("ID", arguments->ids, "The ids of findings, or the words of doctor and status")
            ->check(CLI::Validator(checkId, "ID"))
            ->option_text("");
    explain->add_flag("--list", arguments->isList, "List all of them: id, level or command, meaning")
        ->excludes(ids);
    explain->add_flag("--json", arguments->isJson, "Write JSON");
    explain->callback([arguments, &command] {
        if (arguments->ids.empty() && !arguments->isList)
            throw CLI::RequiredError("ID or --list");
        command = [arguments](std::ostream &output) { return KelpCtl::explain(*arguments, output); };
    });
}

} // namespace KelpCtl
