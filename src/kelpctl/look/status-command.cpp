#include "kelpctl/look/commands.h"
#include "kelpctl/look/machine.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/kelp/inspection/machine-state.h"

#include <CLI/CLI.hpp>
#include <boost/json.hpp>

#include <algorithm>
#include <iterator>
#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Core::KELP::ApplicationStanding;
using Core::KELP::MachineState;

struct StatusArguments {
    LookOptions look;
    bool isCheck = false;
    bool isBrief = false;
};

json::value policyAsJson(const std::optional<Core::KELP::SourcesView> &sources) {
    if (!sources)
        return nullptr;
    return json::object{{"missing_source_allowed", sources->missingSourceAllowed},
                        {"web_pwa_source_allowed", sources->webPwaSourceAllowed}};
}

json::object asJson(const MachineState &machine) {
    json::object migrations;
    for (const auto &[name, isDone] : machine.migrations)
        migrations[name] = isDone ? json::value(*isDone) : json::value();
    json::array applications;
    for (const ApplicationStanding &application : machine.applications)
        applications.push_back(json::object{{"id", jsonText(application.id)},
                                            {"version", jsonText(application.version)},
                                            {"state", nameOf(application.state)},
                                            {"reason", jsonText(application.reason)}});
    return {{"migrations", migrations},
            {"applications", applications},
            {"policy", policyAsJson(machine.sources)}};
}

std::string allowed(bool isAllowed) {
    return isAllowed ? "allowed" : "not allowed";
}

void printSummary(std::ostream &output, const MachineState &machine) {
    std::vector<std::vector<std::string>> rows = {{"MIGRATION", "DONE"}};
    for (const auto &[name, isDone] : machine.migrations)
        rows.push_back({name, isDone ? *isDone ? "yes" : "no" : "?"});
    printTable(output, rows);
    const auto inStore = std::ranges::count(machine.applications, Core::KELP::ApplicationState::Store,
                                            &ApplicationStanding::state);
    output << '\n';
    if (machine.takeOvers > 0)
        printText(output, "A take-over of " + counted(machine.takeOvers, "application") +
                              " from rpm is not finished.");
    // If a look failed, a number would pass for the total.
    printText(output, "Store: " + (machine.storeBytes
                                       ? counted(static_cast<std::uintmax_t>(inStore), "whole application") +
                                             ", " + shownBytes(*machine.storeBytes)
                                       : "?"));
    if (const auto &sources = machine.sources)
        printText(output, "Trusted sources: " + std::to_string(sources->sources.size()) +
                              "; packages without a source: " + allowed(sources->missingSourceAllowed) +
                              "; web applications: " + allowed(sources->webPwaSourceAllowed));
}

void printApplications(std::ostream &output, const std::vector<ApplicationStanding> &applications) {
    if (applications.empty())
        return;
    std::vector<std::vector<std::string>> rows = {{"APPLICATION", "VERSION", "STATE", "REASON"}};
    for (const ApplicationStanding &application : applications)
        rows.push_back({shown(application.id), shown(application.version), nameOf(application.state),
                        shown(application.reason)});
    printTable(output, rows);
}

void print(std::ostream &output, const MachineState &machine) {
    printSummary(output, machine);
    if (!machine.applications.empty())
        output << '\n';
    printApplications(output, machine.applications);
}

ExitStatus status(const StatusArguments &arguments, std::ostream &output) {
    const Machine machine(arguments.look);
    MachineState state = Core::KELP::inspectMachine(machine.configuration());
    std::vector<ApplicationStanding> needy;
    std::ranges::copy_if(state.applications, std::back_inserter(needy), Core::KELP::needsSomebody,
                         &ApplicationStanding::state);
    machine.noteWriter(needy.empty(), state.unread);
    if (arguments.look.isJson)
        output << asJson(state) << '\n';
    else if (arguments.isBrief)
        printApplications(output, needy);
    else
        print(output, state);
    // Only with --check, which lets a unit fail at boot. Without it a successful look is no failure.
    return tellUnread(state.unread,
                      arguments.isCheck && !needy.empty() ? ExitStatus::Refused : ExitStatus::Accepted);
}

} // namespace

void addStatus(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<StatusArguments>();
    CLI::App *status = app.add_subcommand("status", "Tell how the machine and its applications stand");
    addLookOptions(*status, arguments->look);
    status->add_flag("--check", arguments->isCheck, "Exit with 1 when an application needs somebody");
    status->add_flag("--brief", arguments->isBrief, "Print only the applications that need somebody")
        ->excludes(status->get_option("--json"));
    status->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::status(*arguments, output); };
    });
}

} // namespace KelpCtl
