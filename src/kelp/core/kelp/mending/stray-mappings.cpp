#include "kelp/core/kelp/mending/stray-mappings.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/inspection/machine-views.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/publication/publication.h"

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

struct PublishedMapping {
    std::string id;
    PlannedFile file;
    std::string path;                  ///< Of its source in the version.
    std::vector<fs::path> directories; ///< That may have been made for it, deepest first.
};

/// Where shared data lies, by the names of organisations.
fs::path commonDirectory() {
    return fs::absolute(Common::belowRoot("usr/share/common"));
}

/// The table for a package whose names may be unknown by now: a place below the shared data tells them
/// itself.
std::vector<Mapping> mappingsAt(const std::string &id, const fs::path &place) {
    const fs::path relative = place.lexically_relative(commonDirectory());
    auto name = relative.begin();
    const std::string first = name->string();
    if (first == ".." || ++name == relative.end())
        return buildMappings(id, "", std::nullopt, std::nullopt, Rooted::Yes);
    // The second is the key of one row, and the application's name of another.
    return buildMappings(id, name->string(), first, name->string(), Rooted::Yes);
}

/// The target at which a row publishes a path of the version; nothing for a path outside of the row.
std::optional<fs::path> targetOf(const Mapping &mapping, const std::string &path) {
    const fs::path target = fs::absolute(mapping.target());
    if (path == mapping.source())
        return target.parent_path();
    const std::string below = mapping.source() + "/";
    return path.starts_with(below) ? std::optional(target / path.substr(below.size())) : std::nullopt;
}

std::vector<fs::path> directoriesUpTo(const fs::path &place, const Mapping &mapping) {
    const fs::path top = fs::absolute(mapping.target()).parent_path();
    std::vector<fs::path> directories;
    fs::path directory = place.parent_path();
    for (; directory.native().size() > top.native().size(); directory = directory.parent_path())
        directories.push_back(directory);
    if (mapping.ownsDirectory() && directory == top)
        directories.push_back(top);
    return directories;
}

/// Finds mappings in the directories where packages publish.
class MappingSearch {
public:
    /// For the packages of these ids, and others with mappings in the shared directories.
    MappingSearch(const IConfiguration &configuration, std::set<std::string> ids) :
        store_(fs::absolute(configuration.databaseDirectory()).native() + "/"), ids_(std::move(ids)) {}

    std::vector<PublishedMapping> run() {
        walk(commonDirectory());
        for (std::set<std::string> known; known != ids_;) {
            known = ids_;
            for (const std::string &id : known)
                for (const Mapping &mapping : buildMappings(id, "", std::nullopt, std::nullopt, Rooted::Yes))
                    walk(fs::absolute(mapping.target()).parent_path());
        }
        return std::move(found_);
    }

private:
    /// Raises for an existing directory that cannot be read: its content is unknown.
    void walk(const fs::path &directory) {
        if (!walked_.insert(directory).second)
            return;
        Common::reraiseAs(Common::ErrorCode::Filesystem,
                          "Couldn't look for published files below " + directory.string(), [&] {
                              if (fs::status(directory).type() == fs::file_type::directory)
                                  for (const fs::directory_entry &entry :
                                       fs::recursive_directory_iterator(directory))
                                      if (entry.is_symlink() || entry.is_regular_file())
                                          look(entry.path());
                          });
    }

    void look(const fs::path &place) {
        const auto source = findMapping(place);
        if (!source || !source->native().starts_with(store_))
            return;
        const std::string way = source->native().substr(store_.size());
        const std::string id = way.substr(0, way.find('/'));
        const std::string current = id + "/current/";
        if (!way.starts_with(current))
            return;
        const std::string path = way.substr(current.size());
        for (const Mapping &mapping : mappingsAt(id, place))
            if (targetOf(mapping, path) == place) {
                ids_.insert(id);
                found_.push_back({id, {place, *source}, path, directoriesUpTo(place, mapping)});
                return;
            }
    }

    std::string store_;
    std::set<std::string> ids_;
    std::set<fs::path> walked_;
    std::vector<PublishedMapping> found_;
};

bool isGone(const fs::path &source) {
    std::error_code error;
    return fs::status(source, error).type() == fs::file_type::not_found;
}

void takeBackStray(const PublishedMapping &mapping) {
    const std::vector<std::string> directories(mapping.directories.rbegin(), mapping.directories.rend());
    if (takeBackDead({{mapping.file}, directories}) != PublicationPlan())
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't take back " + mapping.file.target);
}

/// The mappings of one machine under examination.
class StrayExamination {
public:
    StrayExamination(const IConfiguration &configuration, MachineViews &views,
                     const std::set<std::string> &underWay) :
        configuration_(configuration), resolver_(configuration), views_(views), underWay_(underWay) {
        for (const RegistryRecord &record : views.registry->records)
            isInstalled_[record.packageId()] = record.event() != RegistryEvent::Remove;
    }

    std::vector<Finding> run(const std::set<std::string> &ids) {
        std::set<std::string> known = ids;
        if (ids.empty())
            for (const auto &[id, isInstalled] : isInstalled_)
                known.insert(id);
        for (const PublishedMapping &mapping : MappingSearch(configuration_, known).run())
            if (ids.empty() || ids.contains(mapping.id))
                examine(mapping);
        return std::move(findings_);
    }

private:
    void examine(const PublishedMapping &mapping) {
        const auto &listed = listedOf(mapping.id);
        if (!listed || listed->contains(mapping.file.target))
            return;
        const StoredPackage *package = find(mapping.id);
        const bool isCurrent = package && Common::isDirectory(resolver_.currentDirectory(mapping.id));
        if (!isGone(mapping.file.source)) {
            // The examination of the lists handles files that belong there.
            if (isCurrent && package->information && !isPublishedBy(*package, mapping))
                add(mapping, "is not what its application publishes there", {});
        } else if (!isCurrent && isInstalled_[mapping.id]) {
            // Perhaps the store is not mounted.
            add(mapping, "is left of a version that is gone, or not mounted", {});
        } else if (mayBeRpms(mapping)) {
            add(mapping, "leads to what is gone, and is rpm's only copy of a file, for all that is known",
                {});
        } else {
            add(mapping, "leads to what is gone, and is on no list; --repair removes it",
                [mapping] { takeBackStray(mapping); });
        }
    }

    /// A copy may have taken the place of rpm's file in a take-over whose journal is lost.
    bool mayBeRpms(const PublishedMapping &mapping) const {
        return !Common::isSymlink(mapping.file.target) &&
               (!views_.rpm || !views_.rpm->isWhole ||
                std::ranges::find(views_.rpm->records, mapping.id, &RpmRecord::id) !=
                    views_.rpm->records.end());
    }

    void add(const PublishedMapping &mapping, const char *text, std::function<void()> mend) {
        findings_.push_back({mapping.id, FindingKind::Stray, mapping.file.target, text, std::move(mend)});
    }

    static bool isPublishedBy(const StoredPackage &package, const PublishedMapping &mapping) {
        return std::ranges::any_of(publicationRows(*package.information), [&](const Mapping &row) {
            return targetOf(row, mapping.path) == mapping.file.target;
        });
    }

    /// The files on the package's lists; nothing while the lists may be about to change, or cannot be read.
    const std::optional<std::set<fs::path>> &listedOf(const std::string &id) {
        const auto [entry, isNew] = listed_.try_emplace(id);
        if (isNew && !isUnderWay(id))
            entry->second = views_.unread.attempt([&] { return readLists(id); });
        return entry->second;
    }

    bool isUnderWay(const std::string &id) const {
        const StoredPackage *package = find(id);
        return underWay_.contains(id) || (views_.installation && views_.installation->id == id) ||
               (package && (package->hasNext || package->hasPlan || !package->failure.empty())) ||
               Common::lookFor(resolver_.previousDirectory(id)) || areListsHidden(id);
    }

    /// Without a link `current` of the package's own, its versions' lists are not read.
    bool areListsHidden(const std::string &id) const {
        const StoreEntry entry(resolver_, id);
        const StoreEntry::Slot current = entry.slot(PackageSlot::Current);
        return current.isForeign() || entry.slot(PackageSlot::Next).isForeign() ||
               (!current.counts() && !entry.content().own.empty());
    }

    std::set<fs::path> readLists(const std::string &id) const {
        std::set<fs::path> paths;
        std::istringstream lines(
            Common::readIfExists(resolver_.symlinkListFile(id, PackageSlot::Current)).value_or(""));
        for (std::string line; std::getline(lines, line);)
            paths.insert(line);
        for (const PlannedFile &file : leftBehind(id).files)
            paths.insert(file.target);
        return paths;
    }

    const StoredPackage *find(const std::string &id) const {
        const auto package = std::ranges::find(*views_.packages, id, &StoredPackage::id);
        return package == views_.packages->end() ? nullptr : &*package;
    }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    MachineViews &views_;
    const std::set<std::string> &underWay_;
    std::map<std::string, bool> isInstalled_;
    std::map<std::string, std::optional<std::set<fs::path>>> listed_;
    std::vector<Finding> findings_;
};

} // namespace

std::vector<Finding> examineStrays(const IConfiguration &configuration, MachineViews &views,
                                   const std::set<std::string> &underWay, const std::set<std::string> &ids) {
    // A mapping may belong to a package that could not be read.
    if (!views.registry || !views.packages || !views.takeOvers)
        return {};
    return views.unread.attempt([&] { return StrayExamination(configuration, views, underWay).run(ids); })
        .value_or(std::vector<Finding>());
}

void takeBackStrays(const IConfiguration &configuration, const std::string &id) {
    PublicationPlan strays;
    std::set<fs::path> directories;
    for (PublishedMapping &mapping : MappingSearch(configuration, {id}).run())
        if (mapping.id == id) {
            strays.files.push_back(std::move(mapping.file));
            directories.insert(mapping.directories.begin(), mapping.directories.end());
        }
    // Sorted by text, each comes before its content.
    strays.directories.assign(directories.begin(), directories.end());
    if (const PublicationPlan left = takeBackDead(strays); left != PublicationPlan())
        noteLeftBehind(id, left);
}

std::vector<fs::path> placesOfMappings(const IConfiguration &configuration, const std::string &id) {
    std::vector<fs::path> places;
    for (const PublishedMapping &mapping : MappingSearch(configuration, {id}).run())
        if (mapping.id == id)
            places.emplace_back(mapping.file.target);
    return places;
}

} // namespace Core::KELP
