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

/// The packages with a developer's certificate that is no system developer's. The database's own errors do
/// not name its file.
std::vector<std::string> certifiedApplications(const std::string &path) {
    try {
        const PackageSignatures::Database signatures(path);
        std::vector<std::string> ids = signatures.packages();
        std::erase_if(ids, [&](const std::string &id) {
            const auto certificate =
                signatures.packageCertificateWithGroup(id, PackageSignatures::Group::Developer);
            return !certificate || certificate->isSystemDeveloperCertificate();
        });
        return ids;
    } catch (const std::exception &error) {
        throw Common::Error(Common::ErrorCode::Filesystem,
                            "Couldn't tell an empty rpm database from a lost one by the signature database " +
                                path + ": " + error.what());
    }
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
    for (const std::string &id : certifiedApplications(path))
        if (!accountedFor.contains(id) && !isKnown(id, configuration))
            throw Common::Error(
                Common::ErrorCode::Internal,
                "Couldn't read the rpm database: it has no record at all, and nobody knows where " + id +
                    " is");
}

} // namespace Core::KELP
