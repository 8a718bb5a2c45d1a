#include "kelp/core/kelp/inspection/rpm-view.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/database.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/take-over/lost-database.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <functional>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Rpm::FileIterator;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;
using PackageSignatures::Certificate;
using PackageSignatures::Group;

namespace Tag = Common::Rpm::Tag;

/// The certificate of a package, if it has one; nothing at all if unknown.
using Answer = std::optional<std::optional<Certificate>>;
using AskForCertificate = std::function<Answer(const std::string &id, Group group)>;

/// One whose list contradicts itself may have it.
bool hasDesktopFile(const Reader &package) {
    bool found = false;
    try {
        const auto look = [&](const FileIterator::Entry &entry) {
            const fs::path path = entry.path;
            found = path.parent_path() == "/usr/share/applications" && path.extension() == ".desktop";
            return found;
        };
        FileIterator(package).forEach(look, FileIterator::Names::WithContent,
                                      FileIterator::Unexpected::Silent);
    } catch (const Common::Error &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
        return true;
    }
    return found;
}

RpmRecord describe(const Reader &package, const AskForCertificate &ask) {
    RpmRecord record;
    // One record that lacks something hides no other.
    record.id = package.tagOr(Tag::Name, "");
    record.version = package.tagOr(Tag::Version, "") + "-" + package.tagOr(Tag::Release, "");
    const auto developer = ask(record.id, Group::Developer);
    record.isCertificateKnown = developer.has_value();
    record.developer = developer.value_or(std::nullopt);
    record.isApplication =
        record.developer || ask(record.id, Group::Client).value_or(std::nullopt) || hasDesktopFile(package);
    return record;
}

/// Without the registry's lock, which a look must not make.
std::set<std::string> removedIds() {
    std::set<std::string> removed;
    try {
        for (const RegistryRecord &record : readRegistry().records)
            if (record.event() == RegistryEvent::Remove)
                removed.insert(record.packageId());
            else
                removed.erase(record.packageId());
    } catch (const Common::Error &) {
        // The registry's own reader reports the failure; here no removal is known then.
        removed.clear();
    }
    return removed;
}

RpmView recordsOf(const IConfiguration &configuration, const Transaction &rpm, const AskForCertificate &ask,
                  const std::string &newId = {}) {
    std::vector<RpmRecord> records;
    bool isEmpty = true;
    const auto walk = rpm.forEachInstalled([&](const Reader &package) {
        isEmpty = false;
        records.push_back(describe(package, ask));
    });
    // A record without a name may be any package's.
    const bool isWhole = walk == Transaction::Walk::Complete &&
                         std::ranges::find(records, "", &RpmRecord::id) == records.end();
    if (isWhole && isEmpty) {
        std::set<std::string> accountedFor = removedIds();
        accountedFor.insert(newId);
        requireEmptyDatabaseOf(configuration, accountedFor);
    }
    std::ranges::sort(records, {}, &RpmRecord::id);
    return {std::move(records), isWhole};
}

RpmView recordsOfCopy(const IConfiguration &configuration, const AskForCertificate &ask,
                      const std::string &newId = {}) {
    return withRpmPath([&] {
        // Declared before the transaction, which works on it and must end first.
        const Common::Rpm::DatabaseCopy copy;
        return recordsOf(configuration, Transaction(0), ask, newId);
    });
}

void requireWhole(const RpmView &view) {
    withRpmPath([&] {
        if (!view.isWhole)
            throw Common::Error(Common::ErrorCode::Internal,
                                "Couldn't read the rpm database: it has records that cannot be read");
    });
}

} // namespace

fs::path rpmDatabaseFile() {
    fs::path directory = Common::Rpm::databaseDirectory();
    for (const char *name : {"rpmdb.sqlite", "Packages", "Packages.db"})
        if (Common::isThere(directory / name))
            return directory / name;
    return directory;
}

std::optional<std::string> whyNotMigrated(const RpmRecord &record) {
    if (!record.isCertificateKnown)
        return "the signature database cannot be read";
    if (!record.developer)
        return "no developer certificate";
    if (record.developer->isSystemDeveloperCertificate())
        return "system developer";
    return std::nullopt;
}

std::optional<RpmView> rpmRecords(const IConfiguration &configuration, Unread &unread) {
    Certificates certificates;
    auto view = unread.attempt([&] {
        return recordsOfCopy(configuration, [&](const std::string &id, Group group) {
            return unread.attempt([&] { return certificates.of(id, group); });
        });
    });
    if (view)
        unread.attempt([&] { return requireWhole(*view), true; });
    return view;
}

std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const std::string &newId) {
    Certificates certificates;
    std::exception_ptr failure;
    RpmView view = recordsOfCopy(
        configuration,
        [&](const std::string &id, Group group) -> Answer {
            try {
                return Answer(std::in_place, certificates.of(id, group));
            } catch (...) {
                // Not raised in the walk, which would report it as a failure of rpm's database.
                if (!failure)
                    failure = std::current_exception();
                return std::nullopt;
            }
        },
        newId);
    if (failure)
        std::rethrow_exception(failure);
    // Its callers rely on the absence of a record.
    requireWhole(view);
    return std::move(view.records);
}

std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const Transaction &rpm) {
    Certificates certificates;
    RpmView view = recordsOf(configuration, rpm, [&](const std::string &id, Group group) {
        return Answer(std::in_place, certificates.of(id, group));
    });
    return std::move(view.records);
}

} // namespace Core::KELP
