#include "kelp/core/common/configuration.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace Core {

namespace {

using Common::LogLevel;
using Common::LogStream;

constexpr const char *configurationFile = "/etc/kelp/kelp.conf";

constexpr const char *databaseDirectoryKey = "kelp.database_directory";
constexpr const char *tempDirectoryKey = "kelp.temp_directory";
constexpr const char *hookDirectoryKey = "kelp.hook_directory";
constexpr const char *sourcesKey = "trusted_sources.database_path";
constexpr const char *defaultDatabaseDirectory = "/opt/app";

boost::property_tree::ptree parse(const std::filesystem::path &file) {
    // The start of the machine would wait for its writer as well.
    if (Common::isPipe(file))
        throw boost::property_tree::ini_parser_error("cannot open file", file.string(), 0);
    boost::property_tree::ptree tree;
    boost::property_tree::read_ini(file.string(), tree);
    return tree;
}

boost::property_tree::ptree load(const std::filesystem::path &file, Configuration::Missing missing) {
    std::error_code look;
    // A missing file is no news to a person at a terminal; one that cannot be read is reported to everybody.
    if (missing == Configuration::Missing::IsFine && !std::filesystem::exists(file, look) && !look)
        return {};
    try {
        // One malformed line discards the whole file: half of it could name a temporary directory that does
        // not go with the store.
        return parse(file);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't load configuration: " << file;
        LogStream(LogLevel::Warning) << error;
        return {};
    }
}

std::filesystem::path value(const boost::property_tree::ptree &tree, const char *key, const char *fallback) {
    return Common::belowRoot(tree.get<std::string>(key, fallback));
}

} // namespace

Configuration::Configuration(Missing missing) :
    Configuration(Common::belowRoot(configurationFile), missing) {}

Configuration::Configuration(const std::filesystem::path &file, Missing missing) {
    const boost::property_tree::ptree tree = load(file, missing);
    databaseDirectory_ = value(tree, databaseDirectoryKey, defaultDatabaseDirectory);
    tempDirectory_ = value(tree, tempDirectoryKey, "/opt/kelp/tmp");
    hookDirectory_ = value(tree, hookDirectoryKey, "/usr/share/kelp/hooks.d");
    trustedSourcesDatabasePath_ = value(tree, sourcesKey, "/var/lib/trusted-sources/db.sqlite3");
}

std::vector<std::string> configurationRemarks() {
    constexpr std::array known = {databaseDirectoryKey, tempDirectoryKey, hookDirectoryKey, sourcesKey};
    std::vector<std::string> remarks;
    boost::property_tree::ptree tree;
    try {
        tree = parse(Common::belowRoot(configurationFile));
    } catch (const boost::property_tree::ini_parser_error &) {
        return {}; // Loading the file has logged it; a missing file is no mistake.
    }
    for (const auto &[section, keys] : tree) {
        if (keys.empty())
            remarks.push_back("the key " + section + " has no effect");
        for (const auto &[key, text] : keys)
            if (std::ranges::find(known, section + '.' + key) == known.end())
                remarks.push_back("the key " + section + '.' + key + " has no effect");
    }
    const auto store = tree.get<std::string>(databaseDirectoryKey, defaultDatabaseDirectory);
    // With a slash at the end, as people may write it.
    const std::filesystem::path place = (std::filesystem::path("/") / store / "").lexically_normal();
    if (place != std::filesystem::path(defaultDatabaseDirectory) / "")
        remarks.push_back("the store is at " + store + ", and not at " + defaultDatabaseDirectory);
    return remarks;
}

Configuration &Configuration::instance() {
    static std::unique_ptr<Configuration> configuration;
    if (!configuration)
        configuration = std::make_unique<Configuration>();
    return *configuration;
}

} // namespace Core
