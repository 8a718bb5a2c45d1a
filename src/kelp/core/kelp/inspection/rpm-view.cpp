#include "kelp/core/kelp/inspection/rpm-view.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/database-copy.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"

#include "platform/package-signatures/database.h"

#include <algorithm>

namespace Core::KELP {

namespace {

using Common::Rpm::FileIterator;
using Common::Rpm::Reader;
using PackageSignatures::Database;
using PackageSignatures::Group;

namespace Tag = Common::Rpm::Tag;

/// A machine that has been given no signature database has no certificates.
std::optional<Database> openSignatures() {
    const std::filesystem::path path = Database::defaultPath();
    Common::requireReadable(path);
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored))
        return std::nullopt;
    return std::optional<Database>(std::in_place, path.native());
}

bool hasDesktopFile(const Reader &package) {
    bool found = false;
    FileIterator(package).forEach([&](const FileIterator::Entry &entry) {
        const std::filesystem::path path = entry.path;
        found = path.parent_path() == "/usr/share/applications" && path.extension() == ".desktop";
        return found;
    });
    return found;
}

RpmRecord describe(const Reader &package, const std::optional<Database> &signatures) {
    RpmRecord record;
    record.id = package.tag(Tag::Name);
    record.version = package.tag(Tag::Version) + "-" + package.tag(Tag::Release);
    if (signatures)
        record.developer = signatures->packageCertificateWithGroup(record.id, Group::Developer);
    record.isApplication =
        record.developer ||
        (signatures && signatures->packageCertificateWithGroup(record.id, Group::Client)) ||
        hasDesktopFile(package);
    return record;
}

} // namespace

std::optional<std::string> whyNotMigrated(const RpmRecord &record) {
    if (!record.developer)
        return "no developer certificate";
    if (record.developer->isSystemDeveloperCertificate())
        return "system developer";
    return std::nullopt;
}

std::vector<RpmRecord> rpmRecords() {
    // Before the transaction, which works on it, and ends before it.
    const Common::Rpm::DatabaseCopy copy;
    return copy.isThere() ? rpmRecords(Common::Rpm::Transaction(0)) : std::vector<RpmRecord>();
}

std::vector<RpmRecord> rpmRecords(const Common::Rpm::Transaction &rpm) {
    const auto signatures = openSignatures();
    std::vector<RpmRecord> records;
    const auto walk = rpm.forEachInstalled([&](const Reader &package) {
        RpmRecord record = describe(package, signatures);
        if (record.isApplication)
            records.push_back(std::move(record));
    });
    if (walk == Common::Rpm::Transaction::Walk::Damaged)
        Common::LogStream(Common::LogLevel::Warning) << "The rpm database has records that cannot be read";
    std::ranges::sort(records, {}, &RpmRecord::id);
    return records;
}

} // namespace Core::KELP
