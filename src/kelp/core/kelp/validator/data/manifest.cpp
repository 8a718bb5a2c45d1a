#include "kelp/core/kelp/validator/data/manifest.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/data/os-compatibility.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <variant>

namespace Validator {

namespace {

namespace json = boost::json;

using Versions = std::vector<std::string_view>;

constexpr std::string_view manifestPath = "/manifest.json";
constexpr std::string_view minOsVersion = "minOSVersion";

/// A thousand times what a manifest needs. The parsed form of a text that is all brackets and commas takes
/// some thirty times its size.
constexpr std::size_t longestManifest = std::size_t(1) << 20;
constexpr std::size_t deepestManifest = 32;

/// The kind of value of each known key; none for one whose value is checked apart. Any other key gets a
/// warning: it has no effect on this system, but may have one on another.
const std::unordered_map<std::string_view, std::optional<json::kind>> &knownKeys() {
    static const std::unordered_map<std::string_view, std::optional<json::kind>> keys{
        {"keepMediaActiveInBackground", json::kind::bool_},
        {minOsVersion, std::nullopt},
    };
    return keys;
}

/// The file's value, or null when it is no JSON.
json::value parseFile(const std::string &path, json::storage_ptr storage) {
    const auto file = MappedFile::open(path);
    if (!file || file->bytes().size() > longestManifest)
        return nullptr;
    // The parser recurses for each level.
    json::parse_options options;
    options.max_depth = deepestManifest;
    json::error_code error;
    return json::parse(file->bytes(), error, std::move(storage), options);
}

void checkKeys(const json::object &manifest, Logger &logger) {
    // The parser keeps one of repeated keys, so each is judged once.
    for (const auto &[key, value] : manifest) {
        const auto known = knownKeys().find(key);
        if (known == knownKeys().end())
            logger.log(ManifestRule::UnknownKey, {key});
        else if (known->second && *known->second != value.kind())
            logger.log(ManifestRule::WrongType, {key});
    }
}

/// The versions that the manifest names, or the rule that it breaks.
std::variant<Versions, ManifestRule> neededVersions(const json::object &manifest) {
    // Views into the parsed text: the manifest outlives them.
    const json::value *value = manifest.if_contains(minOsVersion);
    if (value == nullptr || value->is_null())
        return ManifestRule::VersionMissing;
    if (value->is_string())
        return Versions{value->get_string()};
    if (!value->is_array())
        return ManifestRule::VersionInvalid;
    Versions versions;
    for (const json::value &element : value->get_array()) {
        if (!element.is_string())
            return ManifestRule::VersionInvalid;
        versions.emplace_back(element.get_string());
    }
    return versions;
}

} // namespace

Manifest::Manifest(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                   std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool Manifest::canValidate(const std::string &path, const std::string &) {
    return path == manifestPath;
}

void Manifest::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    // Declared before the value that lies in it. It is released at once, without a walk over the value.
    json::monotonic_resource memory;
    const json::value content = parseFile(realPath_, &memory);
    if (!content.is_object()) {
        logger_->log(ManifestRule::InvalidJson);
        return;
    }
    checkKeys(content.get_object(), *logger_);
    const auto needed = neededVersions(content.get_object());
    if (const auto *broken = std::get_if<ManifestRule>(&needed))
        logger_->log(*broken);
    else
        checkVersions(std::get<Versions>(needed));
}

void Manifest::checkVersions(const std::vector<std::string_view> &needed) const {
    // No system could have it, so the system's version does not matter.
    if (!areVersions(needed)) {
        logger_->log(ManifestRule::VersionIncompatible);
        return;
    }
    const std::optional<std::string> system = config_->osVersion();
    try {
        if (!system)
            logger_->log(ManifestRule::OsVersionUnknown);
        else if (!isCompatible(*system, needed))
            logger_->log(ManifestRule::VersionIncompatible);
    } catch (const std::out_of_range &) {
        // A manifest with a version of one component must not end the process.
        logger_->log(ManifestRule::VersionIncomparable);
    }
}

void appendManifestRules(Rules &rules) {
    for (const auto &[key, kind] : knownKeys())
        rules.push_back({"manifest-key", key == minOsVersion ? "required" : "allowed", std::string(key)});
}

} // namespace Validator
