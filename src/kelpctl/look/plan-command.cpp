#include "kelpctl/look/commands.h"
#include "kelpctl/look/look-command.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/take-over-plan.h"

#include <boost/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Core::KELP::PlannedTakeOver;
using Core::KELP::TakeOverPlan;

/// Silences the core's log: the plan itself says the same about the packages.
class Quiet {
public:
    Quiet() : buffer_(std::cout.rdbuf(nullptr)) {}
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;
    ~Quiet() { std::cout.rdbuf(buffer_); }

private:
    std::streambuf *buffer_;
};

TakeOverPlan makePlan(const Machine &machine) {
    const Quiet quiet;
    return Core::KELP::planTakeOver(machine.configuration());
}

const char *actionOn(const PlannedTakeOver &application) {
    return application.isMoved ? "move" : "stay";
}

json::object plannedAsJson(const PlannedTakeOver &application) {
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

void printJson(std::ostream &output, const TakeOverPlan &plan) {
    json::array array;
    for (const PlannedTakeOver &application : plan.applications)
        array.push_back(plannedAsJson(application));
    output << array << '\n';
}

ExitStatus plan(const Look &look) {
    // The launcher's questions, such as whether it may write to a directory, would be answered for the user.
    if (::geteuid() != 0 || !seesOwners())
        throw Common::Error(Common::ErrorCode::UnauthorizedAccess,
                            "Only root can tell what the launcher would do");
    const TakeOverPlan plan = makePlan(look.machine);
    (look.isJson ? printJson : printPlan)(look.output, plan);
    if (!plan.isDamaged)
        return ExitStatus::Accepted;
    std::cerr << "kelpctl: The rpm database has records that cannot be read: they are not in the plan\n";
    return ExitStatus::Trouble;
}

} // namespace

void addPlan(CLI::App &app, Command &command) {
    addLookCommand(app, command, {"plan", "Tell what the migration from rpm would do, and why", plan});
}

} // namespace KelpCtl
