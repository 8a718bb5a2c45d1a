#include "kelp/core/kelp/inspection/recorded-packages.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"

namespace Core::KELP {

namespace {

std::map<std::string, std::string> bindings(const IConfiguration &configuration) {
    try {
        return SourcesView::read(configuration).sourceOf;
    } catch (const Common::Error &error) {
        // A damaged database tells nothing more. A failed read is a failure.
        if (error.code() != Common::ErrorCategory::make(Common::ErrorCode::Internal))
            throw;
        return {};
    }
}

} // namespace

bool RecordedPackages::knows(const std::string &id) const {
    return find(id) != nullptr;
}

bool RecordedPackages::isInstalled(const std::string &id) const {
    const Record *record = find(id);
    return record && record->isInstalled;
}

std::set<std::string> RecordedPackages::underWay(const std::string &id) const {
    const Record *record = find(id);
    return record ? record->underWay : std::set<std::string>();
}

std::set<std::string> RecordedPackages::keysOf(const std::string &id) const {
    const Record *record = find(id);
    return record ? record->keys : std::set<std::string>();
}

const RecordedPackages::Record *RecordedPackages::find(const std::string &id) const {
    if (!records_)
        records_ = read();
    const auto found = records_->find(id);
    return found == records_->end() ? nullptr : &found->second;
}

std::map<std::string, RecordedPackages::Record> RecordedPackages::read() const {
    std::map<std::string, Record> records;
    for (const RegistryRecord &line : registryRecords()) {
        Record &record = records[line.packageId()];
        // In file order, so that the last line stays.
        record.isInstalled = line.event() != RegistryEvent::Remove;
        record.keys.insert(line.keyId());
        record.keys.insert(line.previousKeyIds().begin(), line.previousKeyIds().end());
    }
    for (const auto &[id, keyId] : bindings(*configuration_))
        records[id].isInstalled = true;
    const auto begin = [&](const std::string &id, const std::string &version) {
        records[id].isInstalled = true;
        records[id].underWay.insert(version);
    };
    for (const JournalEntry &entry : pendingTakeOvers(*configuration_))
        begin(entry.id, entry.version);
    if (const auto begun = unfinishedInstallation())
        begin(begun->id, begun->version);
    return records;
}

} // namespace Core::KELP
