#include "kelp/core/kelp/skid/patterns.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/skid/unit-move.h"

#include <boost/algorithm/string/replace.hpp>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP::SKID {

namespace {

using Common::LogLevel;
using Common::LogStream;

struct Pattern {
    const char *from;
    const char *to;
    bool isBelowRoot;
    std::int32_t kind;
};

/// The second row leads into its own source; UnitMove handles that.
constexpr Pattern table[] = {
    {"srv/shared/<orgName>/common/", "srv/shared/<orgName>/<skid>/common/", true, 1},
    {"usr/share/common/<orgName>/", "usr/share/common/<orgName>/<skid>/", true, 0},
    {"<home>/.cache/<orgName>/common/", "<home>/.cache/<orgName>/<skid>/common/", false, 0},
    {"<home>/.local/share/<orgName>/common/", "<home>/.local/share/<orgName>/<skid>/common/", false, 0},
    {"<home>/.config/<orgName>/common/", "<home>/.config/<orgName>/<skid>/common/", false, 0},
};

/// Homes come with the root prefix already.
std::string placed(const char *path, bool isBelowRoot) {
    return isBelowRoot ? (Common::rootPath() / path).string() : path;
}

std::string substituted(std::string text, const PackageInformation &values) {
    for (const auto &[place, value] : values)
        boost::algorithm::replace_all(text, place, value);
    return text;
}

/// The organisation and the key of a package whose data moves.
struct Owner {
    std::string orgName;
    std::string keyId;
};

std::optional<Owner> ownerOf(const PackageInformation &package) {
    const auto orgName = package.find("general.orgname");
    const auto keyId = package.find("certificate.id");
    if (orgName == package.end() || keyId == package.end() || !Common::isFileName(orgName->second) ||
        !Common::isFileName(keyId->second))
        return std::nullopt;
    return Owner{orgName->second, keyId->second};
}

void logged(const std::function<void()> &step) {
    try {
        step();
    } catch (const Common::Error &error) {
        LogStream(LogLevel::Error) << error;
    }
}

/// Absolute, like the paths of lists and rpm's records that it is compared with.
fs::path sharedDirectory() {
    return fs::absolute(Common::rootPath() / "usr/share/common");
}

/// The children of a directory that are or hold one of the files. Paths are objects or text.
template<class Paths>
void addHolders(const Paths &files, const fs::path &directory, std::set<std::string> &names) {
    for (const auto &file : files) {
        const fs::path relative = fs::absolute(file).lexically_relative(directory);
        if (!relative.empty() && *relative.begin() != "..")
            names.insert(*relative.begin());
    }
}

void addPublished(const std::string &id, const fs::path &organisation, std::set<std::string> &names) {
    const fs::path list = DatabasePathResolver::instance().symlinkListFile(id, PackageSlot::Current);
    addHolders(requirePathList(list), organisation, names);
}

void addFilesBelow(const fs::path &directory, const Common::Rpm::Reader &package,
                   std::vector<fs::path> &files) {
    const Common::Rpm::InstalledFiles installed(package);
    const std::string beginning = directory.native() + "/";
    for (int i = 0; i < installed.count(); ++i)
        // Compares texts: a path object for each file of all packages would cost more than the walk.
        if (installed.directory(installed.directoryOf(i)).starts_with(beginning) && !installed.isDirectory(i))
            files.emplace_back(installed.path(i));
}

std::vector<std::string> staying(const std::string &orgName, const std::vector<PackageInformation> &packages,
                                 const std::vector<fs::path> &inRpm) {
    const fs::path organisation = sharedDirectory() / orgName;
    std::set<std::string> names;
    addHolders(inRpm, organisation, names);
    for (const PackageInformation &package : packages) {
        const auto owner = ownerOf(package);
        if (!owner || owner->orgName != orgName)
            continue;
        // One key's directory must not move into another's.
        names.insert(owner->keyId);
        if (const auto id = package.find("general.id"); id != package.end())
            addPublished(id->second, organisation, names);
    }
    return {names.begin(), names.end()};
}

/// The moves for one package and user.
std::vector<Patterns::MigrationUnit> unitsOf(const Owner &owner, const fs::path &home,
                                             const std::vector<std::string> &stays) {
    auto units = Patterns::expand(owner.orgName, owner.keyId, home.string());
    for (Patterns::MigrationUnit &unit : units)
        unit.stays = stays;
    return units;
}

void move(const fs::path &from, const fs::path &to, const std::vector<std::string> &stays, Clash clash) {
    try {
        UnitMove(from, to, stays, clash).run();
    } catch (const std::system_error &error) {
        const bool isRefused = Common::Directory::isRefusal(error);
        LogStream(isRefused ? LogLevel::Warning : LogLevel::Error) << error;
        // A foreign link is logged and left, and does not stop other moves.
        if (!isRefused)
            throw Common::Error(Common::ErrorCode::Filesystem,
                                "Couldn't move " + from.string() + " to " + to.string());
        LogStream(LogLevel::Warning) << "Not moved for a link in the way: " << from;
    }
}

/// A failure ends the walk.
void moveAll(const std::vector<Patterns::MigrationUnit> &units, Clash clash) {
    logged([&] {
        for (const Patterns::MigrationUnit &unit : units)
            move(unit.from, unit.to, unit.stays, clash);
    });
}

/// The places of shared data outside of the homes.
std::array<fs::path, 2> sharedPlaces() {
    return {Common::rootPath() / "srv", Common::rootPath() / "usr/share/common"};
}

} // namespace

std::vector<std::pair<std::string, std::string>> Patterns::patterns() {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const Pattern &pattern : table)
        pairs.emplace_back(placed(pattern.from, pattern.isBelowRoot),
                           placed(pattern.to, pattern.isBelowRoot));
    return pairs;
}

std::vector<Patterns::MigrationUnit> Patterns::expand(const std::string &orgName, const std::string &skid,
                                                      const std::string &home) {
    const PackageInformation values{{"<orgName>", orgName}, {"<skid>", skid}, {"<home>", home}};
    std::vector<MigrationUnit> units;
    for (const auto &[from, to] : patterns())
        units.push_back({substituted(from, values), substituted(to, values), table[units.size()].kind});
    return units;
}

std::vector<std::vector<Patterns::MigrationUnit>>
Patterns::migrationUnits(const std::vector<PackageInformation> &packages, const std::vector<fs::path> &inRpm,
                         const std::vector<fs::path> &homes) {
    std::vector<std::vector<MigrationUnit>> all;
    std::map<std::string, std::vector<std::string>> stays;
    // Rows without a home repeat for each home: completed moves are skipped.
    for (const fs::path &home : homes)
        for (const PackageInformation &package : packages) {
            const auto owner = ownerOf(package);
            if (!owner)
                continue;
            if (!stays.contains(owner->orgName))
                stays[owner->orgName] = staying(owner->orgName, packages, inRpm);
            all.push_back(unitsOf(*owner, home, stays[owner->orgName]));
        }
    return all;
}

void Patterns::migrate(const std::vector<MigrationUnit> &units) noexcept {
    moveAll(units, Clash::IsReported);
}

void Patterns::moveUnit(const fs::path &from, const fs::path &to, const std::vector<std::string> &stays) {
    move(from, to, stays, Clash::IsReported);
}

void Patterns::migrateLate(const PackageInformation &package,
                           const std::vector<PackageInformation> &installed,
                           const std::vector<fs::path> &inRpm) {
    const auto owner = ownerOf(package);
    if (!owner)
        return;
    const std::vector<std::string> stays = staying(owner->orgName, installed, inRpm);
    const Common::HomesLook look = Common::lookForUsersHomes();
    for (const fs::path &home : look.homes)
        moveAll(unitsOf(*owner, home, stays), Clash::IsMerged);
    flushMoves();
    // Not for a home that is a link to nowhere: the package would never come in if that stays so.
    if (look.failure)
        std::rethrow_exception(look.failure);
}

std::vector<fs::path> Patterns::sharedFilesInRpm(const std::function<void()> &ifEmpty) {
    const fs::path shared = sharedDirectory();
    std::vector<fs::path> files;
    bool isEmpty = true;
    const auto add = [&](const Common::Rpm::Reader &package) {
        isEmpty = false;
        addFilesBelow(shared, package, files);
    };
    const auto walk = Common::Rpm::Transaction(0).forEachInstalled(add);
    // A record that rpm skips may own files that would be moved from under it.
    if (walk != Common::Rpm::Transaction::Walk::Complete)
        throw Common::Error(Common::ErrorCode::Internal, "The rpm database has records that cannot be read");
    if (isEmpty)
        ifEmpty();
    return files;
}

void Patterns::flushMoves() {
    // Each may be a filesystem of its own.
    const Common::HomesLook look = Common::lookForUsersHomes();
    std::vector<fs::path> places = look.homes;
    std::ranges::copy(sharedPlaces(), std::back_inserter(places));
    for (const fs::path &place : places)
        if (Common::lookThrough(place))
            Common::flushFilesystem(place);
    // Moves in a home that cannot be looked at any more may not be durable.
    if (look.failure)
        std::rethrow_exception(look.failure);
}

void Patterns::requirePlaces() {
    for (const fs::path &place : sharedPlaces())
        if (Common::leadsNowhere(place))
            throw Common::Error(Common::ErrorCode::Filesystem,
                                place.string() + " is a link that leads nowhere");
}

} // namespace Core::KELP::SKID
