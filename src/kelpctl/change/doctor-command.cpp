#include "kelpctl/change/commands.h"
#include "kelpctl/explanations/machine-words.h"
#include "kelpctl/look/machine.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/mending/contents-examination.h"
#include "kelp/core/kelp/mending/examination.h"

#include <CLI/CLI.hpp>
#include <boost/json.hpp>

#include <unistd.h>

#include <iostream>
#include <optional>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Common::WriterLock;
using Core::KELP::Finding;
using Core::KELP::Mending;
using Core::KELP::StoredPackage;
using std::string_literals::operator""s;

struct DoctorArguments {
    LookOptions look;
    bool isRepair = false;
    std::set<std::string> ids;
};

/// The result of a look or a repair.
struct Examined : Mending {
    std::vector<std::string> withoutList; ///< Applications whose versions have no list of contents.
    std::vector<std::string> listed;      ///< Those that got a list of the present files.
};

/// The command that helps, or the heading in recovery.md.
std::string helpFor(const Finding &finding) {
    return finding.mend ? "kelpctl doctor --repair" : KelpCtl::helpFor(nameOf(finding.kind));
}

/// Only the remaining ones: to a tool, a mended finding is none any more.
json::object asJson(const Examined &examined) {
    json::array array;
    for (const Finding &finding : examined.left)
        array.push_back(json::object{{"id", jsonText(finding.id)},
                                     {"kind", nameOf(finding.kind)},
                                     {"path", jsonText(finding.path.native())},
                                     {"text", jsonText(finding.text)},
                                     {"repairable", finding.mend != nullptr},
                                     {"help", helpFor(finding)}});
    json::array withoutList;
    for (const std::string &id : examined.withoutList)
        withoutList.emplace_back(jsonText(id));
    return {{"findings", array}, {"unlistable", withoutList}};
}

std::string nameOf(const Finding &finding) {
    return finding.id.empty() ? "this machine" : shown(finding.id);
}

std::string lineOf(const Finding &finding) {
    const std::string path = finding.path.empty() ? "" : shown(finding.path.native()) + " ";
    return "  "s + nameOf(finding.kind) + ": " + path;
}

/// Prints a line for each finding, below its application.
void print(std::ostream &output, const Examined &mending) {
    for (const std::string &id : mending.listed)
        printText(output, shown(id) + ": contents listed as found");
    for (const Finding &finding : mending.mended)
        printText(output, nameOf(finding) + lineOf(finding).substr(1) + "mended");
    std::string last;
    for (const Finding &finding : mending.left) {
        // The id may be empty, for the machine, and must have its heading even if it comes first.
        if (finding.id != last || &finding == mending.left.data())
            output << styled(nameOf(finding), Style::Bold, STDOUT_FILENO) << '\n';
        last = finding.id;
        // One that can be repaired says what --repair does.
        printText(output,
                  lineOf(finding) + shown(finding.text) + (finding.mend ? "" : "; " + helpFor(finding)));
    }
    std::string names;
    for (const std::string &id : mending.withoutList)
        names += (names.empty() ? "" : ", ") + shown(id);
    if (!names.empty())
        printText(output, counted(mending.withoutList.size(), "application") +
                              " without a list of contents that can be read (" + names +
                              "): from before there were lists, or lost; --repair lists what is there");
}

/// A failure at one does not stop the others: it is reported like a failed read, and retried the next time.
void listWhatIsThere(const Machine &machine, const std::vector<StoredPackage> &packages, Examined &examined) {
    for (const StoredPackage &package : packages)
        if (examined.unread.attempt([&] {
                Core::KELP::listAsFound(machine.configuration(), package);
                return true;
            }))
            examined.listed.push_back(package.id);
        else
            examined.withoutList.push_back(package.id);
}

Examined look(const Machine &machine, const std::set<std::string> &ids, bool isRepair) {
    if (!seesOwners())
        throw Common::Error(Common::ErrorCode::UnauthorizedAccess,
                            "Only root can examine an image: others do not see whom its files belong to");
    Examined examined;
    std::optional<WriterLock> lock;
    if (isRepair) {
        // The holder may be at work on the very faults: it is named, and not waited for.
        lock.emplace(WriterLock::Wait::No);
        static_cast<Mending &>(examined) = Core::KELP::mend(machine.configuration(), ids);
    } else {
        examined.left = Core::KELP::examine(machine.configuration(), ids, examined.unread);
    }
    const auto packages =
        examined.unread.attempt([&] { return Core::KELP::packagesWithoutList(machine.configuration(), ids); })
            .value_or(std::vector<StoredPackage>());
    if (isRepair)
        listWhatIsThere(machine, packages, examined);
    else
        for (const StoredPackage &package : packages)
            examined.withoutList.push_back(package.id);
    return examined;
}

/// Those that the machine knows; names the others.
std::set<std::string> knownIds(const Machine &machine, std::set<std::string> ids) {
    for (const std::string &id : Core::KELP::unknownIds(machine.configuration(), ids)) {
        std::cerr << "kelpctl: this machine knows nothing of " << shown(id) << '\n';
        ids.erase(id);
    }
    return ids;
}

ExitStatus doctor(const DoctorArguments &arguments, std::ostream &output) {
    if (arguments.isRepair && !arguments.look.root.empty())
        throw std::runtime_error("--repair works on the running machine: chroot into an image for it");
    if (arguments.ids.contains(""))
        throw std::invalid_argument("This is no id of an application");
    const Machine machine(arguments.look);
    for (const std::string &remark : Core::configurationRemarks())
        std::cerr << "kelpctl: /etc/kelp/kelp.conf: " << shown(remark) << '\n';
    const std::set<std::string> ids = knownIds(machine, arguments.ids);
    const bool isKnown = ids == arguments.ids;
    Examined mending;
    // With no id left, all packages would be examined.
    if (isKnown || !ids.empty())
        mending = look(machine, ids, arguments.isRepair);
    if (arguments.look.isJson)
        output << asJson(mending) << '\n';
    else
        print(output, mending);
    // A finding without a repair counts like one that was not mended: a script must know that a person is
    // needed.
    const bool isWell = mending.left.empty() && isKnown;
    // A repair has the lock itself.
    if (!arguments.isRepair)
        machine.noteWriter(isWell, mending.unread);
    return tellUnread(mending.unread, isWell ? ExitStatus::Accepted : ExitStatus::Refused);
}

} // namespace

void addDoctor(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<DoctorArguments>();
    CLI::App *doctor = app.add_subcommand("doctor", "Tell what is wrong with applications, and mend it");
    addLookOptions(*doctor, arguments->look);
    doctor->add_flag("--repair", arguments->isRepair, "Mend what can be mended without a loss");
    doctor->add_option("ID", arguments->ids, "The applications; all without one");
    doctor->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::doctor(*arguments, output); };
    });
}

} // namespace KelpCtl
