#include "kelpctl/look/stored-application.h"

#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/registry/registry.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/json.hpp>

#include <algorithm>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Core::KELP::RegistryEvent;
using Core::KELP::RegistryRecord;
using Core::KELP::SourcesView;

struct EventWords {
    const char *letter;
    const char *word;
};

EventWords wordsOf(RegistryEvent event) {
    switch (event) {
    case RegistryEvent::Install:
        return {"I", "installed"};
    case RegistryEvent::Update:
        return {"U", "updated"};
    case RegistryEvent::Remove:
        break;
    }
    return {"R", "removed"};
}

/// Empty for a source that is not in the database.
std::string subjectOf(const std::string &keyId, const SourcesView &view) {
    const auto source = std::ranges::find(view.sources, keyId, &Core::TrustedSources::Source::keyId);
    return source == view.sources.end() ? std::string() : source->subject;
}

} // namespace

std::vector<StoredApplication> storedApplications(const Core::IConfiguration &configuration,
                                                  Core::KELP::Unread &unread, const std::string &measured) {
    const auto sources =
        unread.attempt([&] { return SourcesView::read(configuration); }).value_or(SourcesView());
    const Core::KELP::StoreView store(configuration);
    std::vector<StoredApplication> applications;
    for (Core::KELP::StoredPackage &package : store.packages()) {
        if (!package.failure.empty())
            unread.add(package.failure);
        // Without a current version it is not installed; status and doctor tell its fate.
        if (package.version.empty() && package.failure.empty())
            continue;
        StoredApplication &application = applications.emplace_back();
        if (package.failure.empty() && (measured.empty() || measured == package.id))
            application.bytes = unread.attempt([&] { return store.bytes(package.id); });
        if (const auto bound = sources.sourceOf.find(package.id); bound != sources.sourceOf.end()) {
            application.source = bound->second;
            application.subject = subjectOf(bound->second, sources);
        }
        application.package = std::move(package);
    }
    return applications;
}

json::object asJson(const StoredApplication &application) {
    const auto value = [&](const char *key) { return jsonText(application.package.value(key)); };
    json::object object = {
        {"id", jsonText(application.package.id)}, {"version", jsonText(application.package.version)},
        {"orgname", value("general.orgname")},    {"appname", value("general.appname")},
        {"key", value("certificate.id")},         {"subgroup", value("certificate.subgroup")},
        {"source", jsonText(application.source)}, {"bytes", nullptr}};
    if (application.bytes)
        object["bytes"] = *application.bytes;
    return object;
}

json::array asJson(const std::vector<std::filesystem::path> &paths) {
    json::array array;
    for (const std::filesystem::path &path : paths)
        array.emplace_back(jsonText(path.native()));
    return array;
}

json::object asJson(const RegistryRecord &record) {
    json::array previous;
    for (const std::string &key : record.previousKeyIds())
        previous.emplace_back(jsonText(key));
    return {{"time", record.timestamp()},
            {"event", wordsOf(record.event()).letter},
            {"id", jsonText(record.packageId())},
            {"key", jsonText(record.keyId())},
            {"previous_keys", previous}};
}

std::vector<std::vector<std::string>> historyTable(const std::vector<RegistryRecord> &records) {
    std::vector<std::vector<std::string>> rows = {
        {"TIME", "EVENT", "APPLICATION", "SHORT KEYS, NEWEST FIRST"}};
    for (const RegistryRecord &record : records) {
        // The registry has the oldest first.
        std::vector<std::string> keys(record.previousKeyIds().rbegin(), record.previousKeyIds().rend());
        keys.insert(keys.begin(), record.keyId());
        constexpr std::size_t shortKeySize = 12;
        // Shortened: a whole key would fill half of a terminal's line.
        for (std::string &key : keys)
            key.resize(std::min(key.size(), shortKeySize));
        rows.push_back({shownTime(record.timestamp()), wordsOf(record.event()).word,
                        shown(record.packageId()), shown(boost::algorithm::join(keys, " "))});
    }
    return rows;
}

std::vector<RegistryRecord> historyOf(const std::string &id, Core::KELP::Unread &unread) {
    Core::KELP::RegistryView registry = Core::KELP::readRegistry();
    if (registry.badLines > 0)
        unread.add(counted(registry.badLines, "line") + " of " + Core::KELP::registryFile().string() +
                   " cannot be read");
    std::vector<RegistryRecord> records;
    for (RegistryRecord &record : registry.records)
        if (id.empty() || record.packageId() == id)
            records.push_back(std::move(record));
    return records;
}

} // namespace KelpCtl
