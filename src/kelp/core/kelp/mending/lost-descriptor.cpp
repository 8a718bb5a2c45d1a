#include "kelp/core/kelp/mending/lost-descriptor.h"

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/package/contents-list.h"

#include "platform/app-manifest/manifest-entry.h"

#include <fcntl.h>

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// Whether the file is the one that was staged, by a list from that day.
bool isAsStaged(const fs::path &version, const std::string &path) {
    const auto list = ContentsList::read(version);
    if (!list || !list->foundOn.empty())
        return false;
    const auto listed = std::ranges::find(list->entries, path, &ContentsEntry::path);
    if (listed == list->entries.end() || listed->type != ContentsEntry::Type::File || listed->isChanged)
        return false;
    const Common::FileDescriptor tree(::open(version.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return Common::Rpm::sha256Beneath(tree.get(), path, version / path) == listed->digest;
}

} // namespace

PackageInformation developerValues(const PackageSignatures::Certificate &certificate,
                                   const std::vector<std::string> &previousKeys) {
    PackageInformation values = {
        {"certificate.id", certificate.keyId()},
        {"certificate.subgroup", PackageSignatures::subgroupToString(certificate.subgroup())}};
    std::set<std::string> numbers;
    for (std::size_t number = 1; number <= previousKeys.size(); ++number)
        numbers.insert(std::to_string(number));
    // Readers take them in the order of the numbers' texts.
    auto key = previousKeys.begin();
    for (const std::string &number : numbers)
        values["prev_key_ids." + number] = *key++;
    return values;
}

std::optional<PackageForMigration> lostDescriptor(const fs::path &versionDirectory, const std::string &id,
                                                  const std::string &version) {
    const auto certificate = Certificates().of(id, PackageSignatures::Group::Developer);
    const auto record = lastRecord(id);
    const std::string desktopFile = "manifest/" + id + ".desktop";
    if (!certificate || !record || record->keyId() != certificate->keyId() ||
        !isAsStaged(versionDirectory, desktopFile))
        return std::nullopt;
    PackageForMigration found;
    found.id = id;
    found.version = version;
    if (const auto manifest = readDesktopFile(versionDirectory / desktopFile)) {
        found.orgName = Common::asFileName(manifest->appOrgname());
        found.appName = Common::asFileName(manifest->appName());
    }
    found.extras = developerValues(*certificate, record->previousKeyIds());
    return found;
}

} // namespace Core::KELP
