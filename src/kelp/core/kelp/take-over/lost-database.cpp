#include "kelp/core/kelp/take-over/lost-database.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/left-tree.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include "platform/package-signatures/database.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// If the journal cannot be read, any id may be in it; the migration itself reports that.
bool isJournalled(const std::string &id, const IConfiguration &configuration) {
    try {
        const auto entries = TakeOverJournal::read(configuration.tempDirectory());
        return std::ranges::find(entries, id, &JournalEntry::id) != entries.end();
    } catch (const Common::Error &) {
        return true;
    }
}

bool isKnown(const std::string &id, const IConfiguration &configuration) {
    const auto isRescued = [&](const LeftTree &tree) { return tree.isOf(id); };
    return Common::lookThrough(DatabasePathResolver(configuration).currentDirectory(id)) ||
           isJournalled(id, configuration) ||
           std::ranges::any_of(LeftTree::rescued(configuration), isRescued);
}

} // namespace

std::set<std::string> removedByRegistry() {
    std::set<std::string> removed;
    Registry().foreachRecord([&](const RegistryRecord &record) {
        if (record.event() == RegistryEvent::Remove)
            removed.insert(record.packageId());
        else
            removed.erase(record.packageId());
    });
    return removed;
}

void requireEmptyDatabaseOf(const IConfiguration &configuration, const std::set<std::string> &accountedFor) {
    const std::string path = PackageSignatures::Database::defaultPath();
    if (!fs::exists(path))
        return;
    const PackageSignatures::Database signatures(path);
    for (const std::string &id : signatures.packages()) {
        const auto certificate =
            signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Developer);
        if (certificate && !certificate->isSystemDeveloperCertificate() && !accountedFor.contains(id) &&
            !isKnown(id, configuration))
            throw Common::Error(
                Common::ErrorCode::Internal,
                "Couldn't read the rpm database: it has no record at all, and nobody knows where " + id +
                    " is");
    }
}

} // namespace Core::KELP
