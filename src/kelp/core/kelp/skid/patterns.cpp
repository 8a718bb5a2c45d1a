#include "kelp/core/kelp/skid/patterns.h"

#include "kelp/core/common/error.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/common/log-stream.h"
#include "kelp/core/common/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/root-path.h"

#include <boost/algorithm/string/replace.hpp>

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

constexpr Pattern table[] = {
    {"srv/shared/<orgName>/common/", "srv/shared/<orgName>/<skid>/common/", true, 1},
    {"usr/share/common/<orgName>/", "usr/share/common/<orgName>/<skid>/", true, 0},
    {"<home>/.cache/<orgName>/common/", "<home>/.cache/<orgName>/<skid>/common/", false, 0},
    {"<home>/.local/share/<orgName>/common/", "<home>/.local/share/<orgName>/<skid>/common/", false, 0},
    {"<home>/.config/<orgName>/common/", "<home>/.config/<orgName>/<skid>/common/", false, 0},
};

std::string placed(const char *path, bool isBelowRoot) {
    return isBelowRoot ? (Common::rootPath() / path).string() : path;
}

std::string substituted(std::string text, const PackageInformation &values) {
    for (const auto &[place, value] : values)
        boost::algorithm::replace_all(text, place, value);
    return text;
}

bool isNested(const fs::path &from, const fs::path &to) {
    return to.native().starts_with(from.native());
}

void moveBeside(const fs::path &from, const fs::path &to) {
    if (!Common::exists(from))
        return;
    if (Common::exists(to))
        LogStream(LogLevel::Error) << "Internal error: " << from << " and " << to
                                   << " directories shouldn't exists concurrently";
    else
        Common::move(from, to);
}

/// A directory cannot be moved straight into itself. The neighbour that it moves to in between tells the next
/// run, after a crash, to go on from there.
void moveInto(const fs::path &from, const fs::path &to) {
    if (Common::exists(to))
        return;
    const fs::path parent = from.parent_path();
    const fs::path temporary = parent.parent_path() / (".tmp." + parent.filename().string());
    if (!Common::exists(temporary)) {
        if (!Common::exists(from))
            return;
        Common::move(from, temporary);
    }
    Common::createDirectories(from);
    Common::move(temporary, to);
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
Patterns::migrationUnits(const std::vector<PackageInformation> &packages) {
    std::vector<std::vector<MigrationUnit>> all;
    for (const fs::path &home : Common::usersHomes())
        for (const PackageInformation &package : packages)
            if (package.contains("general.orgname") && package.contains("certificate.id"))
                all.push_back(
                    expand(package.at("general.orgname"), package.at("certificate.id"), home.string()));
    return all;
}

void Patterns::migrate(const std::vector<MigrationUnit> &units) noexcept {
    try {
        for (const MigrationUnit &unit : units)
            moveUnit(unit.from, unit.to);
    } catch (const Common::Error &error) {
        LogStream(LogLevel::Error) << error;
    }
}

void Patterns::moveUnit(const fs::path &from, const fs::path &to) {
    if (isNested(from, to))
        moveInto(from, to);
    else
        moveBeside(from, to);
}

} // namespace Core::KELP::SKID
