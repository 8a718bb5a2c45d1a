#include "kelp/core/kelp/mending/examination.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/recorded-packages.h"
#include "kelp/core/kelp/mending/contents-examination.h"
#include "kelp/core/kelp/mending/lost-descriptor.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/mending/publication-obstacle.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/store/fs-database.h"

#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Lead = StoreEntry::Lead;
using State = StoreEntry::DescriptorState;

/// A repair and its words; empty for a fault without one.
struct Repair {
    const char *words = nullptr;
    std::function<void()> mend;
};

/// One package of the store under examination.
class PackageExamination {
public:
    PackageExamination(const IConfiguration &configuration, const StoredPackage &package,
                       const RecordedPackages &records) :
        configuration_(configuration),
        resolver_(configuration),
        package_(package),
        underWay_(records.underWay(package.id)),
        keys_(records.keysOf(package.id)) {}

    std::vector<Finding> run() {
        if (package_.isLink || package_.isObstructed) {
            examineForeign();
            return std::move(findings_);
        }
        current_ = look(PackageSlot::Current);
        next_ = look(PackageSlot::Next);
        previous_ = look(PackageSlot::Previous);
        // The links first: they tell unfinished operations, which come before the publication.
        if (current_.slot.counts())
            examineInstalled();
        else if (next_.slot.isOurs() || previous_.slot.isOurs())
            examineInterrupted();
        else
            examineWithoutCurrent();
        for (const std::string &name : entry().content(underWay_).foreign)
            add(FindingKind::Foreign, resolver_.versionDirectory(package_.id, name),
                "is no version of this application");
        return std::move(findings_);
    }

private:
    /// Whether the store may drop a version with it. An unread descriptor, or another package's, proves
    /// nothing.
    static bool isBroken(State descriptor) {
        return descriptor == State::Absent || descriptor == State::Malformed;
    }

    struct Look {
        StoreEntry::Slot slot;
        State descriptor = State::Absent;

        bool isWhole() const { return descriptor == State::Own; }
        bool isBroken() const {
            return slot.lead == Lead::Nowhere || (slot.counts() && PackageExamination::isBroken(descriptor));
        }
    };

    StoreEntry entry() const { return {resolver_, package_.id}; }

    Look look(PackageSlot slot) const {
        Look look{entry().slot(slot), State::Absent};
        if (look.slot.counts())
            look.descriptor = entry().descriptor(look.slot.version).state;
        return look;
    }

    fs::path link(PackageSlot slot) const { return entry().link(slot); }
    fs::path descriptor(PackageSlot slot) const { return resolver_.descriptorFile(package_.id, slot); }

    void add(FindingKind kind, const fs::path &path, const std::string &text, Repair repair = {}) {
        // Repairs copy all but the configuration: findings outlive their examination.
        findings_.push_back({package_.id, kind, path,
                             repair.mend ? text + "; --repair " + repair.words : text,
                             std::move(repair.mend)});
    }

    /// Reports the foreign links. Of the rest, only the published files of a moved package are examined.
    void examineForeign() {
        for (const PackageSlot slot : {PackageSlot::Current, PackageSlot::Next, PackageSlot::Previous})
            if (entry().slot(slot).isForeign())
                add(FindingKind::Foreign, link(slot), "does not lead to a version of this application");
        if (!package_.isLink)
            return;
        add(FindingKind::Foreign, resolver_.packageDirectory(package_.id),
            "is a link: the application is neither updated nor removed");
        if (package_.information)
            examineMoved();
    }

    /// A moved package goes on working: its published files are examined, and nothing that its link leads to
    /// is changed.
    void examineMoved() {
        for (Finding &finding : examinePublication(configuration_, package_))
            if (finding.kind != FindingKind::Unlisted && finding.kind != FindingKind::UnfinishedUpdate)
                findings_.push_back(std::move(finding));
    }

    void examineInstalled() {
        if (!current_.isWhole())
            return addLostDescriptor();
        if (const std::string mismatch = foreignKey(*package_.information); !mismatch.empty())
            add(FindingKind::UnreadableDescriptor, descriptor(PackageSlot::Current), mismatch);
        else if (next_.slot.isOurs())
            examineNext();
        else if (previous_.slot.isOurs())
            add(FindingKind::UnfinishedUpdate, link(PackageSlot::Previous),
                "an update was not cleaned up after", {"does it", [this_ = *this] { this_.dropOthers(); }});
        else
            examineCurrent();
    }

    void addUnreadable(const fs::path &file, State state) {
        add(FindingKind::UnreadableDescriptor, file,
            state == State::Another ? "is that of another application or version"
                                    : "cannot be read; the files are left as they are");
    }

    void addUnreadable(PackageSlot slot, const Look &look) {
        addUnreadable(descriptor(slot), look.descriptor);
    }

    /// One that names another package may be right, and its place wrong.
    void addLostDescriptor() {
        const fs::path version = place(current_.slot.version);
        const auto lost = current_.isBroken() ? provenDescriptor(version) : std::nullopt;
        if (!lost)
            return addUnreadable(PackageSlot::Current, current_);
        add(FindingKind::UnreadableDescriptor, descriptor(PackageSlot::Current), "cannot be read",
            {"writes it anew from certificate, registry and desktop file", [version, lost = *lost] {
                 writeDescriptor(version / StoreName::descriptor, lost, lost.extras,
                                 Common::Durability::Flushed);
             }});
    }

    std::optional<PackageForMigration> provenDescriptor(const fs::path &version) const {
        try {
            return lostDescriptor(version, package_.id, current_.slot.version);
        } catch (const std::exception &) {
            return std::nullopt; // What could not be read is reported by its own examination.
        }
    }

    /// Why a descriptor is not this package's by its key; empty when it is, or when no key is known.
    std::string foreignKey(const PackageInformation &information) const {
        const auto key = information.find("certificate.id");
        if (key == information.end() || keys_.contains(key->second))
            return {};
        try {
            const auto certificate = developerKey(package_.id);
            if (certificate == key->second || (keys_.empty() && !certificate))
                return {};
        } catch (const std::exception &) {
            // The certificate is unknown: it may have this very key.
            return {};
        }
        return "has the key of another developer than registry and certificate";
    }

    void examineNext() {
        const fs::path next = link(PackageSlot::Next);
        if (next_.isWhole())
            examineUpdate(next);
        else if (next_.isBroken())
            add(FindingKind::UnfinishedUpdate, next, "the prepared version is not whole",
                {"drops it", [this_ = *this] { this_.dropOthers(); }});
        else
            addUnreadable(PackageSlot::Next, next_);
    }

    /// The store publishes all or nothing, and with nothing the application would be lost.
    void examineUpdate(const fs::path &next) {
        const std::string obstacle = obstacleToUpdate();
        if (obstacle.empty())
            add(FindingKind::UnfinishedUpdate, next, "an update was begun",
                {"completes it", [this_ = *this] { this_.completeUpdate(); }});
        else
            add(FindingKind::UnfinishedUpdate, next, "an update was begun, and is kept up: " + obstacle);
    }

    std::string obstacleToUpdate() const {
        try {
            const PackageInformation information = readDescriptor(descriptor(PackageSlot::Next));
            if (std::string mismatch = foreignKey(information); !mismatch.empty())
                return "its descriptor " + mismatch;
            return publicationObstacle(configuration_, fs::canonical(link(PackageSlot::Next)), information);
        } catch (const std::exception &error) {
            return error.what();
        }
    }

    /// An update or a first installation that has no current version at the moment.
    void examineInterrupted() {
        const fs::path next = link(PackageSlot::Next);
        const fs::path previous = link(PackageSlot::Previous);
        if (next_.isWhole() && previous_.slot.counts())
            examineUpdate(next);
        else if (next_.isWhole())
            add(FindingKind::UnfinishedUpdate, next, "an installation was begun",
                // The next round publishes its files: each is missing then.
                {"completes it", [this_ = *this, next] { this_.promote(next); }});
        else if (previous_.isWhole())
            add(FindingKind::UnfinishedUpdate, previous, "an update was begun",
                // The remnants of the other version go once there is a current one.
                {"takes it back", [this_ = *this, previous] { this_.promote(previous); }});
        else
            for (const auto &[slot, look] :
                 {std::pair(PackageSlot::Next, next_), std::pair(PackageSlot::Previous, previous_)})
                examineBroken(slot, look);
    }

    /// Without a current version it may be all that is left of the application, and stays.
    void examineBroken(PackageSlot slot, const Look &look) {
        const fs::path link = this->link(slot);
        if (look.slot.lead == Lead::Nowhere)
            add(FindingKind::UnfinishedUpdate, link, "leads to a version that is gone",
                {"removes the link", [link] { Common::removeAll(link); }});
        else if (look.slot.counts() && !look.isBroken())
            addUnreadable(slot, look);
        else if (look.slot.counts())
            add(FindingKind::UnfinishedUpdate, link, "the prepared version is not whole");
    }

    /// A tree comes to its place with its descriptor: a version with a descriptor is whole, and its
    /// installation goes on. With two of them nothing tells which counts.
    void examineWithoutCurrent() {
        const std::vector<std::string> versions = entry().content(underWay_).own;
        for (const std::string &version : versions)
            examineUnlinked(version, versions.size() == 1);
        if (!versions.empty())
            return;
        if (current_.slot.lead == Lead::Nowhere)
            add(FindingKind::Dead, link(PackageSlot::Current),
                "leads to a version that is gone: if it is there under no other name, install the package "
                "again, or remove it");
        else if (entry().content().foreign.empty())
            add(FindingKind::Leftover, resolver_.packageDirectory(package_.id),
                "is empty, left of a killed run",
                // Fails, and removes nothing, if anything has come there by then.
                {"removes it",
                 [directory = resolver_.packageDirectory(package_.id)] { fs::remove(directory); }});
    }

    void examineUnlinked(const std::string &version, bool isOnly) {
        const State state = entry().descriptor(version).state;
        if (isBroken(state))
            examinePart(version);
        else if (state != State::Own)
            addUnreadable(resolver_.descriptorFile(package_.id, version), state);
        else if (isOnly)
            add(FindingKind::UnfinishedUpdate, place(version), "no link makes this version current",
                {"does it", [this_ = *this, version] { this_.prepare(version); }});
        else
            add(FindingKind::Leftover, place(version), "is named by no link, left of a killed run");
    }

    /// A note proves that it came out of a package file, so it can be installed again.
    void examinePart(const std::string &version) {
        const fs::path directory = place(version);
        add(FindingKind::Leftover, directory, "is left of a broken installation",
            {"removes it", [directory] {
                 Common::removeAll(directory);
                 // Without the note an empty directory would have no owner.
                 std::error_code ignored;
                 fs::remove(directory.parent_path(), ignored);
             }});
    }

    void examineCurrent() {
        for (Finding &finding : examineContents(configuration_, package_))
            findings_.push_back(std::move(finding));
        for (Finding &finding : examinePublication(configuration_, package_))
            findings_.push_back(std::move(finding));
        for (const std::string &version : entry().content(underWay_).own)
            if (version != current_.slot.version)
                add(FindingKind::StaleVersion, place(version), "is named by no link",
                    {"removes it", [this_ = *this, version] { this_.dropStale(version); }});
    }

    fs::path place(const std::string &version) const {
        return resolver_.versionDirectory(package_.id, version);
    }

    void dropOthers() const {
        FSDatabase(configuration_, resolver_).cleanupVersionsExceptCurrent(package_.id);
    }

    void dropStale(const std::string &version) const {
        dropOthers();
        // A note names a version without a descriptor, which the store ignores.
        if (underWay_.contains(version))
            Common::removeAll(place(version));
    }

    void completeUpdate() const {
        // Checked again: repairs and people may have changed the answer.
        if (const std::string obstacle = obstacleToUpdate(); !obstacle.empty())
            throw Common::Error(Common::ErrorCode::FileConflict, obstacle);
        FSDatabase(configuration_, resolver_).completeUpdate(package_.id);
    }

    void prepare(const std::string &version) const {
        Common::createSymlink(fs::absolute(place(version)), resolver_.nextDirectory(package_.id));
    }

    /// One rename: after a kill the link has one of the two names, and is found again.
    void promote(const fs::path &link) const { Common::move(link, resolver_.currentDirectory(package_.id)); }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    StoredPackage package_;
    std::set<std::string> underWay_;
    std::set<std::string> keys_;
    Look current_, next_, previous_;
    std::vector<Finding> findings_;
};

/// A failure at one package becomes its finding, and does not stop the others.
Finding failed(const std::string &id, const fs::path &directory, const std::string &reason) {
    return {id, FindingKind::Unexamined, directory, "could not be examined: " + reason, {}};
}

} // namespace

std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package,
                                    const RecordedPackages &records) {
    const fs::path directory = DatabasePathResolver(configuration).packageDirectory(package.id);
    if (!package.failure.empty())
        return {failed(package.id, directory, package.failure)};
    try {
        return PackageExamination(configuration, package, records).run();
    } catch (const std::exception &error) {
        return {failed(package.id, directory, Common::explainedText(error))};
    }
}

void settlePackage(const IConfiguration &configuration, const std::string &id) {
    // Each with a new examination: a completed update has other lists. Twice the first kind: where no link
    // leads to a version, the first mend makes `next` of it, and the second one `current`.
    for (const FindingKind kind :
         {FindingKind::UnfinishedUpdate, FindingKind::UnfinishedUpdate, FindingKind::Unlisted}) {
        const StoreView view(configuration);
        if (const auto package = view.package(id))
            for (const Finding &finding : examinePackage(configuration, *package, view.records()))
                if (finding.kind == kind && finding.mend)
                    finding.mend();
    }
}

} // namespace Core::KELP
