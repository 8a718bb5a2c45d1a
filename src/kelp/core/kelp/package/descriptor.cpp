#include "kelp/core/kelp/package/descriptor.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/package-information.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cerrno>
#include <sstream>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using boost::property_tree::ptree;
using Common::Durability;
using Common::Error;
using Common::ErrorCode;

/// No value of a package holds a line feed, which would add lines: ids, versions and names are checked when
/// they are read (Common::isFileName()).
ptree descriptorTree(const PackageStaging &staging, const PackageInformation &extras) {
    ptree tree;
    tree.put("general.id", staging.id);
    tree.put("general.version", staging.version);
    if (staging.orgName && staging.appName) {
        tree.put("general.orgname", *staging.orgName);
        tree.put("general.appname", *staging.appName);
    }
    for (const auto &[key, value] : extras)
        tree.put(key, value);
    return tree;
}

std::string descriptorText(const PackageStaging &staging, const PackageInformation &extras) {
    std::ostringstream content;
    boost::property_tree::write_ini(content, descriptorTree(staging, extras), 0);
    return std::move(content).str();
}

/// The package may have put a file of any size there, or a link to anything.
bool holds(const fs::path &path, const std::string &text) {
    return fs::is_regular_file(fs::symlink_status(path)) && fs::file_size(path) == text.size() &&
           Common::readIfExists(path) == text;
}

template<class Write>
void orRaiseReason(const Write &write) {
    try {
        write();
    } catch (const std::exception &error) {
        throw Error(ErrorCode::Filesystem, std::string("Couldn't create velura.pkg file: ") + error.what());
    }
}

ptree parse(const fs::path &path, const std::string &content) {
    try {
        ptree tree;
        std::istringstream stream(content);
        boost::property_tree::read_ini(stream, tree);
        return tree;
    } catch (const boost::property_tree::ini_parser_error &) {
        // The text is at fault. Any other failure here says nothing about the package.
        throw Error(ErrorCode::Internal, "Couldn't parse velura.pkg file: " + path.string());
    }
}

PackageInformation flatten(const ptree &tree) {
    PackageInformation information;
    for (const auto &[section, keys] : tree)
        for (const auto &[key, value] : keys)
            if (!value.data().empty())
                information.emplace(section + "." + key, value.data());
    return information;
}

} // namespace

void writeDescriptor(const fs::path &path, const PackageStaging &staging, const PackageInformation &extras,
                     Durability durability) {
    orRaiseReason([&] { Common::replaceFile(path, descriptorText(staging, extras), durability); });
}

void ensureDescriptor(const fs::path &path, const PackageStaging &staging, const PackageInformation &extras,
                      Durability durability) {
    orRaiseReason([&] {
        const std::string text = descriptorText(staging, extras);
        // A correct descriptor stays durable, and needs no room on a full disk.
        if (!holds(path, text))
            Common::replaceFile(path, text, durability);
    });
}

PackageInformation readDescriptor(const fs::path &path) {
    const auto content = Common::readIfExists(path);
    if (!content)
        // Internal, here and below, lets the store remove the package; readIfExists()'s error does not.
        throw Error(ErrorCode::Internal, "Couldn't find velura.pkg file: " + path.string());
    PackageInformation information = flatten(parse(path, *content));
    for (const char *key : requiredDescriptorKeys)
        if (!information.contains(key))
            throw Error(ErrorCode::Internal,
                        std::string("The velura.pkg file doesn't contains required key: ") + key);
    return information;
}

bool isFaultOfMachine(const std::exception &error) {
    const int reason = Common::systemErrorOf(error);
    return reason != 0 && reason != EINVAL && reason != ENXIO && !Common::provesAbsence(reason);
}

std::vector<std::string> previousKeyIds(const PackageInformation &information) {
    const std::string section = "prev_key_ids.";
    std::vector<std::string> ids;
    for (auto entry = information.lower_bound(section);
         entry != information.end() && entry->first.starts_with(section); ++entry)
        ids.push_back(entry->second);
    return ids;
}

std::vector<Mapping> publicationRows(const PackageInformation &information) {
    const auto value = [&](const char *key) { return valueOf(information, key); };
    return buildMappings(value("general.id").value_or(""), value("certificate.id").value_or(""),
                         value("general.orgname"), value("general.appname"), Rooted::Yes);
}

std::vector<Mapping> mappingsOf(const PackageForMigration &package, Rooted rooted) {
    // By the descriptor, which has both names or none, and no spaces at their ends.
    if (rooted == Rooted::Yes)
        return publicationRows(flatten(parse({}, descriptorText(package, package.extras))));
    return buildMappings(package.id, valueOf(package.extras, "certificate.id").value_or(""), package.orgName,
                         package.appName, rooted);
}

} // namespace Core::KELP
