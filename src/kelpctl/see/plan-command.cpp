#include "kelpctl/see/commands.h"
#include "kelpctl/see/json-text.h"
#include "kelpctl/see/look-command.h"
#include "kelpctl/see/presentation.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/kelp/inspection/take-over-plan.h"

#include <boost/json.hpp>

#include <algorithm>
#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Core::KELP::PlannedTakeOver;
using Core::KELP::TakeOverPlan;

const char *actionOn(const PlannedTakeOver &application) {
    return application.isMoved ? "move" : "stay";
}

json::object asJson(const PlannedTakeOver &application) {
    json::object object = {{"id", jsonText(application.id)},
                           {"version", jsonText(application.version)},
                           {"action", actionOn(application)},
                           {"reason", nullptr},
                           {"bytes", nullptr}};
    if (!application.reason.empty())
        object["reason"] = jsonText(application.reason);
    if (application.bytes)
        object["bytes"] = *application.bytes;
    return object;
}

void printPlan(std::ostream &output, const TakeOverPlan &plan) {
    if (plan.isDone)
        printText(output, "The migration from rpm is done, and is not repeated. If it were:");
    std::vector<std::vector<std::string>> rows = {{"APPLICATION", "VERSION", "ACTION", "SIZE", "REASON"}};
    for (const PlannedTakeOver &application : plan.applications)
        rows.push_back({shown(application.id), shown(application.version), actionOn(application),
                        application.bytes ? shownBytes(*application.bytes) : "", shown(application.reason)});
    if (!plan.applications.empty()) {
        printTable(output, rows);
        output << '\n';
    }
    const auto moved = std::ranges::count(plan.applications, true, &PlannedTakeOver::isMoved);
    const auto staying = std::ranges::count(plan.applications, false, &PlannedTakeOver::isMoved);
    printText(output, "To move: " + std::to_string(moved) + "; to stay in rpm: " + std::to_string(staying));
    printText(output, "Room: " + shownBytes(plan.needed) + " needed, " + shownBytes(plan.room) + " there");
}

ExitStatus plan(const Machine &machine, const std::string &, bool isJson, std::ostream &output) {
    const TakeOverPlan plan = Core::KELP::planTakeOver(machine.configuration());
    if (!isJson) {
        printPlan(output, plan);
        return ExitStatus::Accepted;
    }
    json::array array;
    for (const PlannedTakeOver &application : plan.applications)
        array.push_back(asJson(application));
    output << array << '\n';
    return ExitStatus::Accepted;
}

} // namespace

void addPlan(CLI::App &app, Command &command) {
    addLookCommand(app, command, {"plan", "Tell what the migration from rpm would do, and why", plan});
}

} // namespace KelpCtl
