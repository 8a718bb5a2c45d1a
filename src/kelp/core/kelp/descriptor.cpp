#include "kelp/core/kelp/descriptor.h"

#include "kelp/core/common/durable-file.h"
#include "kelp/core/common/error.h"
#include "kelp/core/kelp/package-staging.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sstream>

namespace Core::KELP {

namespace {

using boost::property_tree::ptree;
using Common::Error;
using Common::ErrorCode;

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

ptree parse(const std::filesystem::path &path, const std::string &content) {
    try {
        ptree tree;
        std::istringstream stream(content);
        boost::property_tree::read_ini(stream, tree);
        return tree;
    } catch (const boost::property_tree::ini_parser_error &) {
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

void writeDescriptor(const std::filesystem::path &path, const PackageStaging &staging,
                     const PackageInformation &extras) {
    try {
        std::ostringstream content;
        boost::property_tree::write_ini(content, descriptorTree(staging, extras), 0);
        // A version whose link survived a power cut without its descriptor would be taken for corrupted, and
        // removed.
        Common::replaceDurably(path, content.view());
    } catch (const std::exception &error) {
        throw Error(ErrorCode::Filesystem, std::string("Couldn't create velura.pkg file: ") + error.what());
    }
}

PackageInformation readDescriptor(const std::filesystem::path &path) {
    const auto content = Common::readIfExists(path);
    if (!content)
        throw Error(ErrorCode::Internal, "Couldn't find velura.pkg file: " + path.string());
    PackageInformation information = flatten(parse(path, *content));
    for (const char *key : requiredDescriptorKeys)
        if (!information.contains(key))
            throw Error(ErrorCode::Internal,
                        std::string("The velura.pkg file doesn't contains required key: ") + key);
    return information;
}

} // namespace Core::KELP
