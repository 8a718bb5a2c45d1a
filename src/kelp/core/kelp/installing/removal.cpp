#include "kelp/core/kelp/installing/removal.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/rpm-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mending/examination.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/store/fs-database.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <algorithm>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

// Raises what was left undone, after all else.

void requireAllTakenBack(const std::string &id) {
    try {
        // A retry: the obstacle may have been momentary.
        takeBackLeftBehind(id);
    } catch (const Common::Error &error) {
        throw Common::Error(Common::ErrorCode::Internal,
                            std::string("It is removed, but not all that it had published: ") + error.what() +
                                "; kelpctl doctor --repair goes on with it");
    }
}

void requireUnbound(const IConfiguration &configuration, const std::string &id) {
    try {
        // The failed read may have been momentary.
        if (SourcesView::read(configuration).sourceOf.contains(id))
            TrustedSources::SQLiteDatabase(configuration).removePackage(id);
    } catch (const Common::Error &error) {
        throw Common::Error(Common::ErrorCode::Filesystem,
                            std::string("It is removed, but its binding to a source stays: ") + error.what());
    }
}

/// The next take-over would bring it back, without the files that are removed.
void requireForgotten(const IConfiguration &configuration, const std::string &id) {
    // What could not be read is told by each look at the machine.
    Unread unread;
    const auto rpm = rpmRecords(configuration, unread);
    if (rpm && std::ranges::find(rpm->records, id, &RpmRecord::id) != rpm->records.end())
        throw Common::Error(
            Common::ErrorCode::Internal,
            "It is removed, but rpm has a record of it, by which kelp-launcher would bring it "
            "back without its files: rpm --erase --justdb " +
                id);
}

/// Whether nothing but records is left of a package: people may give it up.
bool isLost(const IConfiguration &configuration, const std::string &id) {
    const auto inRpm = rpmRecords(configuration);
    const auto rescued = StoreView(configuration).rescued();
    if (std::ranges::find(inRpm, id, &RpmRecord::id) != inRpm.end() ||
        std::ranges::find(rescued, id, [](const auto &entry) { return entry.first; }) != rescued.end())
        return false;
    const auto last = lastRecord(id);
    return (last && last->event() != RegistryEvent::Remove) ||
           SourcesView::read(configuration).sourceOf.contains(id);
}

/// Whether the store has anything of the package's own. Foreign files in its directory are no application,
/// and rpm may have that.
bool isStored(const IConfiguration &configuration, const std::string &id) {
    const DatabasePathResolver resolver(configuration);
    const StoreEntry entry(resolver, id);
    return entry.slot(PackageSlot::Current).isOurs() || entry.slot(PackageSlot::Next).isOurs() ||
           entry.slot(PackageSlot::Previous).isOurs() ||
           !entry.content(StoreView(configuration).records().underWay(id)).own.empty();
}

/// Completes the lists, so that they name all files to remove. If that fails, the removal goes by the lists
/// as they are.
void settle(const IConfiguration &configuration, const std::string &id) {
    try {
        settlePackage(configuration, id);
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
    }
}

/// Returns the foreign entries left in the package's directory.
std::vector<fs::path> removeWhole(const IConfiguration &configuration, const std::string &id) {
    const auto package = StoreView(configuration).package(id);
    if (package && package->isLink)
        throw Common::Error(Common::ErrorCode::FileConflict,
                            "The directory of package " + id +
                                " is a link: it is removed by whoever made it");
    if (!(package && isStored(configuration, id)) && !isLost(configuration, id))
        throw Common::Error(Common::ErrorCode::PackageNotExist,
                            "Attempt to remove non existent package " + id);
    StoreView(configuration).requireNoMountIn(id);
    const DatabasePathResolver resolver(configuration);
    // It may be the only copy of another version or application.
    if (const StoreEntry entry(resolver, id); entry.hasAnothers())
        throw Common::Error(Common::ErrorCode::FileConflict, entry.objection());
    settle(configuration, id);
    // From here on there is no way back: after a kill the removal is completed.
    Common::replaceDurably(removalFile(), id + "\n");
    Common::flushFile(removalFile().parent_path());
    return completeRemoval(configuration);
}

} // namespace

std::vector<fs::path> removePackage(const IConfiguration &configuration, const std::string &id) {
    if (!Common::isFileName(id))
        throw std::invalid_argument("This is no id of an application");
    // Before any change: nobody may act on a journal that cannot be read.
    const bool isOnItsWay = idsOnTheirWay(configuration).contains(id);
    std::vector<fs::path> left;
    const bool isBegun = unfinishedRemoval() == id;
    if (isBegun)
        left = completeRemoval(configuration);
    else
        resumeRemoval(configuration);
    if (isOnItsWay)
        throw Common::Error(Common::ErrorCode::Internal,
                            "Package " + id + " is on its way from rpm: systemctl restart kelp-launcher");
    if (!isBegun)
        left = removeWhole(configuration, id);
    requireAllTakenBack(id);
    requireNothingPublished(configuration, id);
    requireUnbound(configuration, id);
    requireForgotten(configuration, id);
    return left;
}

} // namespace Core::KELP
