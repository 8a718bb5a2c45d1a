#include "kelp/core/common/configuration.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/places.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <memory>
#include <string>

namespace Core {

namespace {

using Common::LogLevel;
using Common::LogStream;

boost::property_tree::ptree load(const std::filesystem::path &file, Configuration::Missing missing) {
    boost::property_tree::ptree tree;
    std::error_code ignored;
    // Only that there is none is no news: one that is malformed is told of to everybody.
    if (missing == Configuration::Missing::IsFine && !std::filesystem::exists(file, ignored))
        return tree;
    try {
        // One malformed line spoils all of it: half of a file could name a temporary directory that does not
        // go with the store.
        boost::property_tree::read_ini(file.string(), tree);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't load configuration: " << file;
        LogStream(LogLevel::Warning) << error;
        tree.clear();
    }
    return tree;
}

std::filesystem::path value(const boost::property_tree::ptree &tree, const char *key, const char *fallback) {
    return Common::belowRoot(tree.get<std::string>(key, fallback));
}

} // namespace

Configuration::Configuration(Missing missing) :
    Configuration(Common::belowRoot("/etc/kelp/kelp.conf"), missing) {}

Configuration::Configuration(const std::filesystem::path &file, Missing missing) {
    const boost::property_tree::ptree tree = load(file, missing);
    databaseDirectory_ = value(tree, "kelp.database_directory", "/opt/app");
    tempDirectory_ = value(tree, "kelp.temp_directory", "/opt/kelp/tmp");
    hookDirectory_ = value(tree, "kelp.hook_directory", "/usr/share/kelp/hooks.d");
    trustedSourcesDatabasePath_ =
        value(tree, "trusted_sources.database_path", "/var/lib/trusted-sources/db.sqlite3");
}

Configuration &Configuration::instance() {
    static std::unique_ptr<Configuration> configuration;
    if (!configuration)
        configuration = std::make_unique<Configuration>();
    return *configuration;
}

} // namespace Core
