#include "kelp/core/kelp/inspection/records-view.h"

#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"

#include <optional>
#include <sstream>

namespace Core::KELP {

std::vector<JournalEntry> pendingTakeOvers(const IConfiguration &configuration) {
    Common::requireReadable(TakeOverJournal::path());
    return TakeOverJournal::read(configuration.tempDirectory());
}

std::set<std::string> idsOnTheirWay(const IConfiguration &configuration) {
    Common::requireReadable(TakeOverJournal::path());
    return TakeOverJournal::readIds(configuration.tempDirectory());
}

RegistryView readRegistry() {
    Common::requireReadable(registryFile());
    RegistryView view;
    std::istringstream lines(Common::readIfExists(registryFile()).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty())
            continue;
        if (auto record = parseRecord(line, Complaints::Passed))
            view.records.push_back(std::move(*record));
        else
            ++view.badLines;
    }
    return view;
}

std::vector<RegistryRecord> registryRecords() {
    return readRegistry().records;
}

std::filesystem::path installationFile() {
    return Common::belowRoot("var/lib/kelp/installation");
}

std::optional<UnfinishedInstallation> unfinishedInstallation() {
    Common::requireReadable(installationFile());
    std::istringstream lines(Common::readIfExists(installationFile()).value_or(""));
    std::string id, version, event;
    std::getline(lines, id);
    std::getline(lines, version);
    std::getline(lines, event);
    if (!Common::isFileName(id) || (event != "I" && event != "U"))
        return std::nullopt;
    return UnfinishedInstallation{id, version, event == "U" ? RegistryEvent::Update : RegistryEvent::Install};
}

} // namespace Core::KELP
