// The commands about what the store holds.

#include "kelpctl/see/commands.h"
#include "kelpctl/see/look-command.h"
#include "kelpctl/see/presentation.h"
#include "kelpctl/see/stored-application.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mappings/mapping-files.h"

#include <boost/json.hpp>

#include <algorithm>
#include <iostream>

namespace fs = std::filesystem;
namespace json = boost::json;

namespace KelpCtl {

namespace {

using Core::KELP::StoreView;
using Core::KELP::Unread;

/// Raises ErrorCode::PackageNotExist, and ErrorCode::Filesystem for one that could not be looked at.
void requireInstalled(const StoreView &store, const std::string &id) {
    const auto package = store.package(id);
    if (package && !package->failure.empty())
        throw Common::Error(Common::ErrorCode::Filesystem, package->failure);
    if (!package || package->version.empty())
        throw Common::Error(Common::ErrorCode::PackageNotExist, "Package " + id + " not installed");
}

StoredApplication storedApplication(const Machine &machine, const std::string &id, Unread &unread) {
    requireInstalled(StoreView(machine.configuration()), id);
    for (StoredApplication &application : storedApplications(machine.configuration(), unread))
        if (application.package.id == id)
            return std::move(application);
    throw Common::Error(Common::ErrorCode::PackageNotExist, "Package " + id + " not installed");
}

std::vector<fs::path> filesOf(const Machine &machine, const std::string &id) {
    // One package alone is read here, where the list of all would measure the size of each.
    const StoreView store(machine.configuration());
    requireInstalled(store, id);
    return store.publishedFiles(id).value_or(std::vector<fs::path>());
}

std::string shownSize(const StoredApplication &application) {
    return application.bytes ? shownBytes(*application.bytes) : "?";
}

ExitStatus list(const Machine &machine, const std::string &, bool isJson, std::ostream &output) {
    Unread unread;
    json::array array;
    std::vector<std::vector<std::string>> rows = {{"APPLICATION", "VERSION", "SIZE", "ORGANISATION"}};
    for (const StoredApplication &application : storedApplications(machine.configuration(), unread)) {
        array.push_back(asJson(application));
        const auto &package = application.package;
        const std::string unknown = package.failure.empty() ? "" : "?";
        rows.push_back({shown(package.id), package.version.empty() ? unknown : shown(package.version),
                        shownSize(application),
                        package.information ? shown(package.value("general.orgname")) : unknown});
    }
    if (isJson)
        output << array << '\n';
    // An empty list is no output at all, for scripts that count lines.
    else if (rows.size() > 1)
        printTable(output, rows);
    return tellUnread(unread, ExitStatus::Accepted);
}

void printInfo(std::ostream &output, const StoredApplication &application, const std::vector<fs::path> &files,
               const std::vector<Core::KELP::RegistryRecord> &history) {
    const auto &package = application.package;
    const std::string source =
        application.source + (application.subject.empty() ? "" : " (" + application.subject + ")");
    printTable(output, {{shown(package.id), shown(package.version)},
                        {"organisation", shown(package.value("general.orgname"))},
                        {"application", shown(package.value("general.appname"))},
                        {"developer's key", shown(package.value("certificate.id"))},
                        {"subgroup", shown(package.value("certificate.subgroup"))},
                        {"source", shown(source)},
                        {"size", shownSize(application)},
                        {"published", counted(files.size(), "file")}});
    output << '\n';
    for (const fs::path &file : files)
        output << shown(file.native()) << '\n';
    output << '\n';
    printTable(output, historyTable(history));
}

ExitStatus info(const Machine &machine, const std::string &id, bool isJson, std::ostream &output) {
    Unread unread;
    const StoredApplication application = storedApplication(machine, id, unread);
    const std::vector<fs::path> files = filesOf(machine, id);
    const auto records = unread.attempt([&] { return historyOf(id, unread); })
                             .value_or(std::vector<Core::KELP::RegistryRecord>());
    if (isJson) {
        json::object object = asJson(application);
        object["files"] = asJson(files);
        json::array &history = object["history"].emplace_array();
        for (const auto &record : records)
            history.push_back(asJson(record));
        output << object << '\n';
    } else {
        printInfo(output, application, files, records);
    }
    return tellUnread(unread, ExitStatus::Accepted);
}

ExitStatus files(const Machine &machine, const std::string &id, bool isJson, std::ostream &output) {
    const std::vector<fs::path> published = filesOf(machine, id);
    if (isJson)
        output << asJson(published) << '\n';
    else
        for (const fs::path &file : published)
            output << shown(file.native()) << '\n';
    return ExitStatus::Accepted;
}

/// The id of the package of which `target` is a file in the store; empty for any other place.
std::string idOfStored(const fs::path &target, const fs::path &store) {
    const fs::path relative = target.lexically_normal().lexically_relative(store.lexically_normal());
    // By the words alone: the target may be gone, and its owner is still to be told.
    return relative.empty() || *relative.begin() == ".." ? std::string() : relative.begin()->string();
}

ExitStatus owner(const Machine &machine, const std::string &argument, bool isJson, std::ostream &output) {
    const fs::path path = (fs::current_path() / argument).lexically_normal();
    std::optional<Core::KELP::StoredPackage> package;
    fs::path target;
    // Any link counts as a mapping, so that the target has to lie in the store for somebody to own it.
    if (const auto found = Core::KELP::findMapping(path)) {
        target = *found;
        package = StoreView(machine.configuration())
                      .package(idOfStored(target, machine.configuration().databaseDirectory()));
    }
    if (!package) {
        std::cerr << "kelpctl: no application has published " << shown(path.native()) << '\n';
        return ExitStatus::Refused;
    }
    if (isJson)
        output << json::object{{"path", jsonText(path.native())},
                               {"id", jsonText(package->id)},
                               {"version", jsonText(package->version)},
                               {"target", jsonText(target.native())}}
               << '\n';
    else
        output << shown(package->id) << ' ' << shown(package->version) << '\n';
    return ExitStatus::Accepted;
}

} // namespace

void addList(CLI::App &app, Command &command) {
    addLookCommand(app, command, {"list", "List the applications in the store", list});
}

void addInfo(CLI::App &app, Command &command) {
    addLookCommand(app, command,
                   {"info", "Tell all about an application", info, LookCommand::Argument::Required, "ID",
                    "The application"});
}

void addFiles(CLI::App &app, Command &command) {
    addLookCommand(app, command,
                   {"files", "List what an application has published", files, LookCommand::Argument::Required,
                    "ID", "The application"});
}

void addOwner(CLI::App &app, Command &command) {
    addLookCommand(app, command,
                   {"owner", "Tell which application has published a file", owner,
                    LookCommand::Argument::Required, "PATH", "The file"});
}

} // namespace KelpCtl
