#include "kelp/core/kelp/publication/publication.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/publication/publication-plan.h"

#include <algorithm>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::LogLevel;
using Common::LogStream;

constexpr const char *copiedSubgroup = "mdm";

/// Runs `act`, and logs its failure. Returns whether nothing is left to do.
template<class Act>
bool attempt(const Act &act) {
    try {
        act();
        return true;
    } catch (const std::system_error &error) {
        LogStream(LogLevel::Warning) << error;
        // Nothing that lies behind a foreign link is ours.
        return Directory::isRefusal(error);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        return false;
    }
}

/// Calls `use` with the directory of `path` and the name in it, if the directory exists. Does not go through
/// links that others can have put there since the publication: files behind them are not ours to remove.
template<class Use>
void inParent(const fs::path &path, const Use &use) {
    if (const auto parent = Directory::byLinksOfRoot(path.parent_path()))
        use(*parent, path.filename().string());
}

/// The same if the path exists. Usually it does not, which one look tells.
template<class Use>
void inParentIfThere(const fs::path &path, const Use &use) {
    if (fs::exists(fs::symlink_status(path)))
        inParent(path, use);
}

bool isAt(const fs::path &source, const fs::path &place) {
    return source == place || source.native().starts_with(place.native() + "/");
}

/// A failed look raises. A link's text counts from its own directory, as for the kernel.
bool leadsNowhere(const Directory &parent, const std::string &name, const fs::path &source) {
    const fs::path place = parent.reach(name);
    std::error_code error;
    const bool isLink = fs::is_symlink(fs::symlink_status(place, error));
    const fs::file_type type = fs::status(isLink ? place : source, error).type();
    if (type == fs::file_type::none)
        throw fs::filesystem_error("cannot look where it leads", parent.path() / name, error);
    return type == fs::file_type::not_found;
}

/// Removes the directories of a plan, after its files. If a file or a directory is left, all directories
/// count as left.
PublicationPlan withDirectories(std::vector<PlannedFile> left, const PublicationPlan &plan) {
    const bool isClear = removeEmptyDirectories({plan.directories.rbegin(), plan.directories.rend()}).empty();
    const bool isAll = isClear && left.empty();
    return {std::move(left), isAll ? std::vector<std::string>() : plan.directories};
}

fs::path sourceOr(const fs::path &link, const fs::path &source) {
    try {
        return findMapping(link).value_or(source);
    } catch (const std::exception &) {
        return source;
    }
}

} // namespace

MappingMode publicationMode(const fs::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup) {
    const auto needsCopies = [&](const Mapping &mapping) {
        const fs::path source = tree / mapping.source();
        return mapping.requiresCopy() &&
               Common::reraiseAs(Common::ErrorCode::Filesystem, "Couldn't look at file: " + source.string(),
                                 [&] { return fs::exists(source); });
    };
    return subgroup == copiedSubgroup || std::ranges::any_of(mappings, needsCopies) ? MappingMode::Copy
                                                                                    : MappingMode::Link;
}

void requireFreeTargets(const PublicationPlan &plan) {
    for (const PlannedFile &file : plan.files)
        requireFreeTarget(file.target);
}

void publish(const PublicationPlan &plan, MappingMode mode, std::vector<std::string> &made) {
    MappingMaker maker(mode);
    for (const PlannedFile &file : plan.files) {
        maker.make(file.source, file.target);
        // Noted after the creation, which leaves the whole mapping or none.
        made.push_back(file.target);
    }
}

/// Needs no look at their owner: their places were free a moment ago.
void unpublish(const std::vector<std::string> &links) {
    LogStream(LogLevel::Info) << "Cleaning up generated mappings";
    for (const std::string &link : links)
        attempt([&] {
            inParent(link, [](const Directory &parent, const std::string &name) { parent.removeFile(name); });
        });
}

std::vector<PlannedFile> takeBackFiles(const PublicationPlan &plan, CopiedLinks copiedLinks) {
    std::vector<PlannedFile> left;
    for (const PlannedFile &file : plan.files) {
        const auto removeOwn = [&](const Directory &parent, const std::string &name) {
            if (findMapping(parent, name) == file.source ||
                (copiedLinks == CopiedLinks::AreOurs && isCopiedLinkOf(parent.reach(name), file.source)))
                parent.removeFile(name);
        };
        if (!attempt([&] { inParentIfThere(file.target, removeOwn); }))
            left.push_back(file);
    }
    removeUnfinishedCopies(plan);
    return left;
}

void removeUnfinishedCopies(const PublicationPlan &plan) {
    std::set<fs::path> unfinished;
    for (const PlannedFile &file : plan.files)
        unfinished.insert(fs::path(file.target).parent_path() / Common::unfinishedCopyName);
    // The copy does not tell whose it was; but no other copy is under way.
    for (const fs::path &copy : unfinished)
        attempt([&] {
            inParentIfThere(
                copy, [](const Directory &parent, const std::string &name) { parent.removeFile(name); });
        });
}

PublicationPlan takeBack(const PublicationPlan &plan) {
    // The plan is that of a version that was published, or whose targets were found free.
    return withDirectories(takeBackFiles(plan, CopiedLinks::AreOurs), plan);
}

PublicationPlan takeBackDead(const PublicationPlan &plan) {
    std::vector<PlannedFile> left;
    for (const PlannedFile &file : plan.files) {
        const auto removeDead = [&](const Directory &parent, const std::string &name) {
            const auto source = findMapping(parent, name);
            if (source && isAt(*source, file.source) && leadsNowhere(parent, name, *source))
                parent.removeFile(name);
        };
        if (!attempt([&] { inParentIfThere(file.target, removeDead); }))
            left.push_back(file);
    }
    return withDirectories(std::move(left), plan);
}

std::vector<PlannedFile> removeMappings(const std::vector<std::string> &links, const fs::path &source) {
    std::vector<PlannedFile> left;
    // A list may be a copy of another package's. And another package may have published in place of a missing
    // file of this list.
    const auto isAnothers = [package = source.parent_path()](const fs::path &found) {
        return isAt(found, package.parent_path()) && !isAt(found, package);
    };
    const auto removeMapping = [&](const Directory &parent, const std::string &name) {
        const auto found = findMapping(parent, name);
        if (found && !isAnothers(*found))
            parent.removeFile(name);
    };
    for (const std::string &link : links)
        if (!attempt([&] { inParent(link, removeMapping); }))
            left.push_back({link, sourceOr(link, source)});
    return left;
}

std::vector<std::string> removeEmptyDirectories(const std::vector<std::string> &directories) {
    std::vector<std::string> left;
    const auto remove = [](const Directory &parent, const std::string &name) { parent.removeIfEmpty(name); };
    for (const std::string &directory : directories)
        if (!attempt([&] { inParent(directory, remove); }))
            left.push_back(directory);
    return left;
}

} // namespace Core::KELP
