#include "kelp/core/kelp/mending/partial-examinations.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/fs-database.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/mending/publication-obstacle.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

bool leadsSomewhere(const fs::path &link) {
    std::error_code ignored;
    return fs::exists(link, ignored);
}

/// One package of the store under examination.
class PackageExamination {
public:
    PackageExamination(const IConfiguration &configuration, const StoredPackage &package) :
        configuration_(configuration), resolver_(configuration), package_(package) {}

    std::vector<Finding> run() {
        const bool isCurrent = leadsSomewhere(resolver_.currentDirectory(package_.id));
        // The links first: they say what was under way, and the publication comes after it.
        if (Common::isThere(resolver_.nextDirectory(package_.id)))
            examineNext(isCurrent);
        else if (Common::isThere(resolver_.previousDirectory(package_.id)))
            examinePrevious(isCurrent);
        else if (!isCurrent)
            examineWithoutCurrent();
        else if (!package_.information)
            add(FindingKind::UnreadableDescriptor, descriptor(PackageSlot::Current),
                "cannot be read; the files are left as they are", {});
        else
            examineCurrent();
        return std::move(findings_);
    }

private:
    void add(FindingKind kind, const fs::path &path, std::string text, std::function<void()> mend) {
        // What mends has a copy of all but the configuration: findings outlive their examination.
        findings_.push_back({package_.id, kind, path, std::move(text), std::move(mend)});
    }

    fs::path descriptor(PackageSlot slot) const { return resolver_.descriptorFile(package_.id, slot); }

    void examineNext(bool isCurrent) {
        const fs::path next = resolver_.nextDirectory(package_.id);
        if (!Common::isThere(descriptor(PackageSlot::Next)))
            add(FindingKind::UnfinishedUpdate, next, "the prepared version is not whole; --repair drops it",
                // Without a current version it may be all that there is of the application, and stays.
                isCurrent ? [this_ = *this] { this_.dropOthers(); } : std::function<void()>());
        else if (isCurrent || leadsSomewhere(resolver_.previousDirectory(package_.id)))
            examineUpdate(next);
        else
            add(FindingKind::UnfinishedUpdate, next, "an installation was begun; --repair completes it",
                // Its files are the next round's: each of them is missing then.
                [this_ = *this] { this_.promote(this_.resolver_.nextDirectory(this_.package_.id)); });
    }

    /// The store publishes all or nothing, and nothing is an application less.
    void examineUpdate(const fs::path &next) {
        const std::string obstacle = obstacleToUpdate();
        if (obstacle.empty())
            add(FindingKind::UnfinishedUpdate, next, "an update was begun; --repair completes it",
                [this_ = *this] { this_.completeUpdate(); });
        else
            add(FindingKind::UnfinishedUpdate, next, "an update was begun, and is kept up: " + obstacle, {});
    }

    std::string obstacleToUpdate() const {
        try {
            return publicationObstacle(configuration_, fs::canonical(resolver_.nextDirectory(package_.id)),
                                       readDescriptor(descriptor(PackageSlot::Next)));
        } catch (const std::exception &error) {
            return error.what();
        }
    }

    void examinePrevious(bool isCurrent) {
        const fs::path previous = resolver_.previousDirectory(package_.id);
        if (isCurrent)
            add(FindingKind::UnfinishedUpdate, previous,
                "an update was not cleaned up after; --repair does it",
                [this_ = *this] { this_.dropOthers(); });
        else
            add(FindingKind::UnfinishedUpdate, previous, "an update was begun; --repair takes it back",
                leadsSomewhere(previous) ? [this_ = *this, previous] { this_.promote(previous); }
                                         : std::function<void()>());
    }

    /// A tree comes to its place in one rename, and its descriptor is written last: one that has a descriptor
    /// is whole, and its installation goes on. Two cannot be told apart.
    void examineWithoutCurrent() {
        const std::vector<fs::path> versions = otherVersions();
        for (const fs::path &version : versions)
            if (!Common::isThere(version / descriptor(PackageSlot::Next).filename()))
                examinePart(version);
            else if (versions.size() == 1)
                add(FindingKind::UnfinishedUpdate, version,
                    "an installation was begun; --repair completes it",
                    [this_ = *this, version] { this_.prepare(version); });
            else
                add(FindingKind::Leftover, version, "is named by no link, left of a killed run", {});
        if (versions.empty() && Common::isThere(resolver_.currentDirectory(package_.id)))
            add(FindingKind::Dead, resolver_.currentDirectory(package_.id),
                "leads to a version that is gone: install the package again, or remove it", {});
        else if (versions.empty())
            add(FindingKind::Leftover, resolver_.packageDirectory(package_.id),
                "is empty, left of a killed run; --repair removes it",
                // Fails, and removes nothing, if anything has come there by then.
                [directory = resolver_.packageDirectory(package_.id)] { fs::remove(directory); });
    }

    /// The records are written behind the store: what they do not know was never in, and came out of a
    /// package file that somebody still has. Of anything else it may be all that there is.
    void examinePart(const fs::path &version) {
        if (wasInstalled())
            add(FindingKind::Leftover, version, "is named by no link and not whole", {});
        else
            add(FindingKind::Leftover, version, "is left of a broken installation; --repair removes it",
                [version] { Common::removeAll(version); });
    }

    bool wasInstalled() const {
        // Where both are gone they say nothing.
        if (!Common::isThere(Common::belowRoot("var/lib/kelp/registry")) &&
            !Common::isThere(configuration_.trustedSourcesDatabasePath()))
            return true;
        const std::vector<RegistryRecord> records = registryRecords();
        const auto last = std::find_if(records.rbegin(), records.rend(), [&](const RegistryRecord &record) {
            return record.packageId() == package_.id;
        });
        return (last != records.rend() && last->event() != RegistryEvent::Remove) ||
               SourcesView::read(configuration_).sourceOf.contains(package_.id);
    }

    void examineCurrent() {
        for (Finding &finding : examinePublication(configuration_, package_))
            findings_.push_back(std::move(finding));
        for (const fs::path &version : otherVersions())
            add(FindingKind::StaleVersion, version, "is named by no link; --repair removes it",
                [this_ = *this] { this_.dropOthers(); });
    }

    /// What lies beside the links and the current version, without what the store leaves alone as well.
    std::vector<fs::path> otherVersions() const {
        constexpr std::array<std::string_view, 6> kept = {"current",  "next",     "prev",
                                                          ".install", ".upgrade", ".remove"};
        std::vector<fs::path> others;
        std::error_code error;
        for (fs::directory_iterator entry(resolver_.packageDirectory(package_.id), error), end;
             !error && entry != end; entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            if (name != package_.version && std::ranges::find(kept, name) == kept.end())
                others.push_back(entry->path());
        }
        std::ranges::sort(others);
        return others;
    }

    void dropOthers() const {
        FSDatabase(configuration_, resolver_).cleanupVersionsExceptCurrent(package_.id);
    }

    void completeUpdate() const {
        // Once more: what is mended meanwhile, and what people do, changes the answer.
        if (const std::string obstacle = obstacleToUpdate(); !obstacle.empty())
            throw Common::Error(Common::ErrorCode::FileConflict, obstacle);
        FSDatabase(configuration_, resolver_).completeUpdate(package_.id);
    }

    void prepare(const fs::path &version) const {
        Common::createSymlink(fs::absolute(version), resolver_.nextDirectory(package_.id));
    }

    /// One rename: after a kill the link is the one or the other, and found again.
    void promote(const fs::path &link) const { Common::move(link, resolver_.currentDirectory(package_.id)); }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    StoredPackage package_;
    std::vector<Finding> findings_;
};

/// A tree that cannot be walked says nothing of what should be published: the lists do.
std::vector<Finding> findingsOrNone(const IConfiguration &configuration, const std::string &id) {
    try {
        if (const auto package = StoreView(configuration).package(id))
            return PackageExamination(configuration, *package).run();
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
    }
    return {};
}

} // namespace

std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package) {
    return PackageExamination(configuration, package).run();
}

void settlePackage(const IConfiguration &configuration, const std::string &id) {
    // One kind after the other, looked for anew: a completed update has other lists.
    for (const FindingKind kind : {FindingKind::UnfinishedUpdate, FindingKind::Unlisted})
        for (const Finding &finding : findingsOrNone(configuration, id))
            if (finding.kind == kind && finding.mend)
                finding.mend();
}

} // namespace Core::KELP
