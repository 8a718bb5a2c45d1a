// Compares the applications' files with the staged ones.

#include "kelpctl/look/commands.h"
#include "kelpctl/look/machine.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include "kelp/core/kelp/inspection/contents-check.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/package/database-path-resolver.h"

#include <CLI/CLI.hpp>
#include <boost/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace fs = std::filesystem;
namespace json = boost::json;

namespace KelpCtl {

namespace {

using Core::KELP::ContentsEntry;
using Core::KELP::ContentsList;
using Core::KELP::Difference;
using Core::KELP::StoredPackage;
using Core::KELP::StoreView;
using Core::KELP::Unread;

struct VerifyArguments {
    LookOptions look;
    std::set<std::string> ids;
};

/// The result for one application's current version.
struct Verified {
    std::string id;
    std::string version;
    fs::path directory;
    std::optional<ContentsList> list = {}; ///< Without it the staged files are unknown.
    bool isRead = true;                    ///< Whether all files could be read.
    std::vector<Difference> differences = {};

    std::size_t faults() const {
        return static_cast<std::size_t>(
            std::ranges::count(differences, false, [](const Difference &one) { return one.isExpected; }));
    }

    /// In one word.
    const char *state() const {
        if (!list)
            return isRead ? "unlistable" : "unread";
        if (faults() > 0)
            return "damaged";
        return !isRead ? "unread" : list->foundOn.empty() ? "verified" : "as-found";
    }

    std::string words() const {
        const std::string state = this->state();
        if (state == "damaged")
            return counted(faults(), "finding") +
                   (list->foundOn.empty() ? ""
                                          : ", compared with the files as found on " + shown(list->foundOn));
        if (state == "as-found")
            return "as found on " + shown(list->foundOn) + ", which says nothing of the time before";
        if (state == "unlistable")
            return "unlistable: it has no list of contents; kelpctl doctor --repair lists what is there";
        return state == "unread" ? "not all could be read" : state;
    }
};

std::vector<Difference> differencesOf(const Verified &version, Unread &missed) {
    const auto isFile = [](const ContentsEntry &entry) { return entry.type == ContentsEntry::Type::File; };
    Progress progress(version.id,
                      static_cast<std::size_t>(std::ranges::count_if(version.list->entries, isFile)));
    std::vector<Difference> differences =
        Core::KELP::ContentsCheck(version.id, version.directory, *version.list).verify(missed, [&] {
            progress.step();
        });
    if (!seesOwners()) {
        std::erase_if(differences, [](const Difference &one) { return one.kind == Difference::Kind::Owner; });
        missed.add("Only root sees whom the files of an image belong to");
    }
    return differences;
}

Verified verified(const Machine &machine, const StoredPackage &package, Unread &unread) {
    const Core::KELP::DatabasePathResolver resolver(machine.configuration());
    Verified result{package.id, package.version, resolver.versionDirectory(package.id, package.version)};
    const auto note = [&](const std::string &text) {
        unread.add(text);
        result.isRead = false;
    };
    if (!package.failure.empty() || package.version.empty() || !package.information) {
        const char *reason = package.version.empty() ? "no version of it is current, see kelpctl doctor"
                                                     : "its descriptor cannot be read, see kelpctl doctor";
        note(package.id + ": " + (package.failure.empty() ? reason : package.failure));
        return result;
    }
    Unread missed;
    result.list = missed.attempt([&] { return ContentsList::read(result.directory); }).value_or(std::nullopt);
    if (result.list)
        result.differences = differencesOf(result, missed);
    std::ranges::for_each(missed.texts(), note);
    return result;
}

json::object asJson(const std::vector<Verified> &all) {
    json::array versions;
    json::array findings;
    json::array configuration;
    for (const Verified &one : all) {
        versions.push_back(json::object{{"id", jsonText(one.id)},
                                        {"version", jsonText(one.version)},
                                        {"state", one.state()},
                                        {"found_on", jsonText(one.list ? one.list->foundOn : "")}});
        for (const Difference &difference : one.differences)
            (difference.isExpected ? configuration : findings)
                .push_back(json::object{{"id", jsonText(one.id)},
                                        {"kind", nameOf(difference.kind)},
                                        {"path", jsonText((one.directory / difference.path).native())},
                                        {"text", jsonText(difference.text)}});
    }
    return {{"versions", versions}, {"findings", findings}, {"changed_configuration", configuration}};
}

void print(std::ostream &output, const Verified &one) {
    printText(output, styled(shown(one.id) + " " + shown(one.version), Style::Bold, STDOUT_FILENO) + ": " +
                          one.words());
    for (const Difference &difference : one.differences)
        printText(output, std::string("  ") +
                              (difference.isExpected ? "changed configuration" : nameOf(difference.kind)) +
                              ": " + shown((one.directory / difference.path).native()) + " " +
                              shown(difference.text));
}

/// The requested packages of the store; leaves the other ids in `unknown`, and reports them.
std::vector<StoredPackage> packagesToVerify(const Machine &machine, std::set<std::string> &unknown) {
    std::vector<StoredPackage> packages = StoreView(machine.configuration()).packages();
    if (unknown.empty())
        return packages;
    std::erase_if(packages, [&](const StoredPackage &package) { return unknown.erase(package.id) == 0; });
    for (const std::string &id : unknown)
        std::cerr << "kelpctl: Package " << shown(id) << " not installed\n";
    return packages;
}

ExitStatus verify(const VerifyArguments &arguments, std::ostream &output) {
    const Machine machine(arguments.look);
    Unread unread;
    std::set<std::string> unknown = arguments.ids;
    std::vector<Verified> all;
    for (const StoredPackage &package : packagesToVerify(machine, unknown)) {
        all.push_back(verified(machine, package, unread));
        if (!arguments.look.isJson)
            print(output, all.back());
    }
    if (arguments.look.isJson)
        output << asJson(all) << '\n';
    const bool isWell =
        unknown.empty() && std::ranges::all_of(all, [](const Verified &one) { return one.faults() == 0; });
    machine.noteWriter(isWell, unread);
    return tellUnread(unread, isWell ? ExitStatus::Accepted : ExitStatus::Refused);
}

} // namespace

void addVerify(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<VerifyArguments>();
    CLI::App *verify = app.add_subcommand("verify", "Read all files of applications, and tell what differs");
    addLookOptions(*verify, arguments->look);
    verify->add_option("ID", arguments->ids, "The applications; all without one");
    verify->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::verify(*arguments, output); };
    });
}

} // namespace KelpCtl
