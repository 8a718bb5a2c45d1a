// The commands about the content of the store.

#include "kelpctl/look/commands.h"
#include "kelpctl/look/look-command.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/look/stored-application.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/package/store-entry.h"

#include <boost/json.hpp>

#include <algorithm>
#include <iostream>

namespace fs = std::filesystem;
namespace json = boost::json;

namespace KelpCtl {

namespace {

using Core::KELP::StoreView;
using Core::KELP::Unread;

/// Raises ErrorCode::PackageNotExist, and ErrorCode::Filesystem when the look fails.
void requireInstalled(const StoreView &store, const std::string &id) {
    const auto package = store.package(id);
    if (package && !package->failure.empty())
        throw Common::Error(Common::ErrorCode::Filesystem, package->failure);
    if (!package || package->version.empty())
        throw Common::Error(Common::ErrorCode::PackageNotExist, "Package " + id + " not installed");
}

StoredApplication storedApplication(const Machine &machine, const std::string &id, Unread &unread) {
    requireInstalled(StoreView(machine.configuration()), id);
    for (StoredApplication &application : storedApplications(machine.configuration(), unread, id))
        if (application.package.id == id)
            return std::move(application);
    throw Common::Error(Common::ErrorCode::PackageNotExist, "Package " + id + " not installed");
}

std::vector<fs::path> filesOf(const Machine &machine, const std::string &id, Unread &unread) {
    // Reads only this package: the list of all would measure the size of each.
    const StoreView store(machine.configuration());
    requireInstalled(store, id);
    const auto files = store.publishedFiles(id);
    const fs::path list = Core::KELP::DatabasePathResolver(machine.configuration())
                              .symlinkListFile(id, Core::KELP::PackageSlot::Current);
    if (!files || Core::KELP::isTornPathList(list))
        unread.add("Not all files that it publishes are known, since " + list.string() +
                   " is missing or torn: see kelpctl doctor");
    return files ? std::vector<fs::path>(files->begin(), files->end()) : std::vector<fs::path>();
}

std::string shownSize(const StoredApplication &application) {
    return application.bytes ? shownBytes(*application.bytes) : "?";
}

ExitStatus list(const Look &look) {
    Unread unread;
    json::array array;
    std::vector<std::vector<std::string>> rows = {{"APPLICATION", "VERSION", "SIZE", "ORGANISATION"}};
    for (const StoredApplication &application : storedApplications(look.machine.configuration(), unread)) {
        array.push_back(asJson(application));
        const auto &package = application.package;
        const std::string unknown = package.failure.empty() ? "" : "?";
        rows.push_back({shown(package.id), package.version.empty() ? unknown : shown(package.version),
                        shownSize(application),
                        package.information ? shown(package.value("general.orgname")) : unknown});
    }
    if (look.isJson)
        look.output << array << '\n';
    // An empty list prints nothing, for scripts that count lines.
    else if (rows.size() > 1)
        printTable(look.output, rows);
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

ExitStatus info(const Look &look) {
    Unread unread;
    const StoredApplication application = storedApplication(look.machine, look.argument, unread);
    const std::vector<fs::path> files = filesOf(look.machine, look.argument, unread);
    const auto records = unread.attempt([&] { return historyOf(look.argument, unread); })
                             .value_or(std::vector<Core::KELP::RegistryRecord>());
    if (look.isJson) {
        json::object object = asJson(application);
        object["files"] = asJson(files);
        json::array &history = object["history"].emplace_array();
        for (const auto &record : records)
            history.push_back(asJson(record));
        look.output << object << '\n';
    } else {
        printInfo(look.output, application, files, records);
    }
    return tellUnread(unread, ExitStatus::Accepted);
}

ExitStatus files(const Look &look) {
    Unread unread;
    const std::vector<fs::path> published = filesOf(look.machine, look.argument, unread);
    if (look.isJson)
        look.output << asJson(published) << '\n';
    else
        for (const fs::path &file : published)
            look.output << shown(file.native()) << '\n';
    return tellUnread(unread, ExitStatus::Accepted);
}

/// An application that a path belongs to.
struct Owner {
    std::string id;
    std::string version;
    fs::path target; ///< The file in the store; empty for a directory that was made for an application.
};

/// The owner of a place in the store; nothing for any other place, and for one without an owner. By the text
/// alone: even if the target of a link is gone, its owner counts.
std::optional<Owner> ownerOfStored(const Machine &machine, const fs::path &target) {
    const fs::path store = machine.configuration().databaseDirectory().lexically_normal();
    const fs::path relative = target.lexically_normal().lexically_relative(store);
    if (relative.empty() || *relative.begin() == "..")
        return std::nullopt;
    const std::string id = relative.begin()->string();
    const auto package = StoreView(machine.configuration()).package(id);
    if (!package)
        return std::nullopt;
    const Core::KELP::DatabasePathResolver resolver(machine.configuration());
    const Core::KELP::StoreEntry entry(resolver, id);
    const auto content = entry.content();
    const std::string name =
        std::next(relative.begin()) == relative.end() ? std::string() : std::next(relative.begin())->string();
    if (std::ranges::find(content.foreign, name) != content.foreign.end())
        return std::nullopt;
    // A path in another version than the current one belongs to that version.
    const bool isVersion = std::ranges::find(content.own, name) != content.own.end();
    return Owner{id, isVersion ? name : package->version, target};
}

std::vector<Owner> ownersOf(const Machine &machine, const fs::path &path, Unread &unread) {
    // Any link counts as a mapping, so the target must lie in the store to have an owner.
    for (const auto &place : {Core::KELP::findMapping(path), std::optional(path)})
        if (auto owner = place ? ownerOfStored(machine, *place) : std::nullopt)
            return {std::move(*owner)};
    std::vector<Owner> owners;
    const StoreView store(machine.configuration());
    if (!fs::is_directory(fs::symlink_status(path)))
        return owners;
    for (const Core::KELP::StoredPackage &package : store.packages()) {
        const auto made = unread.attempt(
            [&] { return store.madeDirectories(package.id).value_or(std::vector<std::string>()); });
        if (made && std::ranges::find(*made, path.native()) != made->end())
            owners.push_back({package.id, package.version, {}});
    }
    return owners;
}

ExitStatus owner(const Look &look) {
    fs::path path = (fs::current_path() / look.argument).lexically_normal();
    if (!path.has_filename())
        path = path.parent_path();
    Unread unread;
    const std::vector<Owner> owners = ownersOf(look.machine, path, unread);
    if (owners.empty())
        std::cerr << "kelpctl: no application has published " << shown(path.native()) << '\n';
    for (const Owner &owner : owners)
        if (look.isJson)
            look.output << json::object{{"path", jsonText(path.native())},
                                        {"id", jsonText(owner.id)},
                                        {"version", jsonText(owner.version)},
                                        {"target", jsonText(owner.target.native())}}
                        << '\n';
        else
            look.output << shown(owner.id) << ' ' << shown(owner.version) << '\n';
    return tellUnread(unread, owners.empty() ? ExitStatus::Refused : ExitStatus::Accepted);
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
                   {"owner", "Tell which application a path belongs to", owner,
                    LookCommand::Argument::Required, "PATH",
                    "A file or directory, in the system or the store"});
}

} // namespace KelpCtl
