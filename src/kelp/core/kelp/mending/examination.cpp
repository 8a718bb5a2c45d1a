#include "kelp/core/kelp/mending/examination.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/kelp/inspection/machine-views.h"
#include "kelp/core/kelp/mending/contents-examination.h"
#include "kelp/core/kelp/mending/stray-mappings.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Core::KELP {

namespace {

using Common::LogLevel;
using Common::LogStream;

/// A repair can bring up another finding: with a new link `current` the publication is examined.
constexpr int rounds = 4;

bool mendOne(const Finding &finding) {
    try {
        finding.mend();
        return true;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << "Couldn't mend " << finding.id << " (" << nameOf(finding.kind)
                                   << "): " << error;
        return false;
    }
}

/// Mends the findings that are left. Returns whether anything was mended, so that another look is needed.
bool mendAll(Mending &mending) {
    const std::size_t before = mending.mended.size();
    for (const Finding &finding : mending.left)
        if (finding.mend && mendOne(finding))
            mending.mended.push_back(finding);
    return mending.mended.size() > before;
}

std::vector<Finding> foreignEntries(const StoreView &store) {
    std::vector<Finding> findings;
    for (const std::filesystem::path &path : store.foreign())
        findings.push_back(
            {"", FindingKind::Foreign, path, "is no application's: no program touches it", {}});
    return findings;
}

} // namespace

std::vector<Finding> examine(const IConfiguration &configuration, const std::set<std::string> &ids,
                             Unread &unread) {
    std::vector<Finding> findings;
    // A fault of a directory that several packages use is told at the first of them.
    std::set<std::pair<std::filesystem::path, std::string>> told;
    const auto add = [&](std::vector<Finding> more) {
        for (Finding &finding : more)
            if ((ids.empty() || ids.contains(finding.id)) &&
                (finding.mend || told.emplace(finding.path, finding.text).second))
                findings.push_back(std::move(finding));
    };
    MachineViews views = MachineViews::read(configuration);
    const StoreView store(configuration);
    const std::set<std::string> underWay = idsUnderWay(configuration);
    for (const StoredPackage &package : views.packages.value_or(std::vector<StoredPackage>()))
        if (!underWay.contains(package.id) && (ids.empty() || ids.contains(package.id)))
            add(examinePackage(configuration, package, store.records()));
    const auto attempt = [&](const auto &examination) {
        add(views.unread.attempt(examination).value_or(std::vector<Finding>()));
    };
    attempt([&] { return foreignEntries(store); });
    attempt([&] { return examineStoreDirectory(configuration); });
    attempt([&] { return examineRecords(configuration, views); });
    attempt([&] { return examineStrays(configuration, views, underWay, ids); });
    unread = std::move(views.unread);
    // Findings of one package stay in the order in which to mend them.
    std::ranges::stable_sort(findings, {}, &Finding::id);
    return findings;
}

std::vector<std::string> unknownIds(const IConfiguration &configuration, const std::set<std::string> &ids) {
    if (ids.empty())
        return {};
    MachineViews views = MachineViews::read(configuration);
    if (!views.unread.texts().empty())
        return {};
    std::set<std::string> known = idsOnTheirWay(configuration);
    for (const StoredPackage &package : *views.packages)
        known.insert(package.id);
    for (const RpmRecord &record : views.rpm->records)
        if (record.isApplication)
            known.insert(record.id);
    for (const RegistryRecord &record : views.registry->records)
        known.insert(record.packageId());
    for (const auto &[id, keyId] : views.sources->sourceOf)
        known.insert(id);
    for (const Finding &finding : examineRecords(configuration, views))
        known.insert(finding.id);
    // Its findings lack those of a directory that it could not read.
    if (!views.unread.texts().empty())
        return {};
    std::vector<std::string> unknown;
    std::ranges::set_difference(ids, known, std::back_inserter(unknown));
    return unknown;
}

Mending mend(const IConfiguration &configuration, const std::set<std::string> &ids) {
    Mending mending;
    mending.left = examine(configuration, ids, mending.unread);
    for (int round = 0; round < rounds && mendAll(mending); ++round)
        // Examined anew: repairs have ended findings, and brought up others.
        mending.left = examine(configuration, ids, mending.unread);
    return mending;
}

} // namespace Core::KELP
