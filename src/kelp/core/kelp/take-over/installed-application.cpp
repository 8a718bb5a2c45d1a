#include "kelp/core/kelp/take-over/installed-application.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/mappings/mapping-table.h"

namespace Core::KELP {

namespace Tag = Common::Rpm::Tag;

using Common::Rpm::FileIterator;
using Common::Rpm::Transaction;

InstalledApplication readApplication(const Common::Rpm::Reader &record, const std::string &keyId,
                                     const std::optional<std::string> &orgName,
                                     const std::optional<std::string> &appName,
                                     FileIterator::Unexpected unexpected) {
    const std::string id = record.tag(Tag::Name);
    const Common::Rpm::InstalledFiles installed(record);
    std::vector<RpmPackage::FileEntry> files;
    std::vector<std::uint64_t> sizes;
    std::vector<bool> isErased;
    files.reserve(static_cast<std::size_t>(installed.count()));
    const auto append = [&](const FileIterator::Entry &file) {
        files.push_back(file);
        sizes.push_back(installed.size(file.fileIndex));
        isErased.push_back(!installed.isDirectory(file.fileIndex) && installed.isInstalled(file.fileIndex));
        return false;
    };
    FileIterator(record).forEach(append, FileIterator::Names::All, unexpected);
    return {RpmPackage({.id = id,
                        .version = record.tag(Tag::Version) + "-" + record.tag(Tag::Release),
                        .architecture = record.tag(Tag::Architecture),
                        .orgName = orgName,
                        .appName = appName},
                       buildMappings(id, keyId, orgName, appName, Rooted::No), std::move(files)),
            std::move(sizes), std::move(isErased)};
}

bool forEachRecord(const Transaction &rpm, const std::function<void(const Common::Rpm::Reader &)> &callback) {
    const Transaction::Walk walk = rpm.forEachInstalled(callback);
    if (walk == Transaction::Walk::Cut)
        throw Common::Error(Common::ErrorCode::Internal, "Couldn't read the rpm database");
    return walk == Transaction::Walk::Damaged;
}

} // namespace Core::KELP
