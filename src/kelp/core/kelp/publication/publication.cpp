#include "kelp/core/kelp/publication/publication.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/publication/publication-plan.h"

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::LogLevel;
using Common::LogStream;

constexpr const char *copiedSubgroup = "mdm";

/// Calls `use` for each path; what it throws is logged, and the walk goes on.
template<class Use>
void forEachLogged(const std::vector<fs::path> &paths, const Use &use) {
    for (const fs::path &path : paths) {
        try {
            use(path);
        } catch (const std::exception &error) {
            LogStream(LogLevel::Warning) << error;
        }
    }
}

/// Calls `use` with the directory that holds `path` and the name in it, if there is such a directory. It is
/// not reached through a link that others can have put there since the publication: what such a link leads to
/// is not ours to remove.
template<class Use>
void inParent(const fs::path &path, const Use &use) {
    if (const auto parent = Directory::byLinksOfRoot(path.parent_path()))
        use(*parent, path.filename().string());
}

/// The same for those of the paths that exist: most often none does, which is told by one look.
template<class Use>
void forEachThere(const std::vector<fs::path> &paths, const Use &use) {
    forEachLogged(paths, [&](const fs::path &path) {
        if (fs::exists(fs::symlink_status(path)))
            inParent(path, use);
    });
}

} // namespace

MappingMode publicationMode(const fs::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup) {
    const auto needsCopies = [&](const Mapping &mapping) {
        return mapping.requiresCopy() && Common::exists(tree / mapping.source());
    };
    return subgroup == copiedSubgroup || std::ranges::any_of(mappings, needsCopies) ? MappingMode::Copy
                                                                                    : MappingMode::Link;
}

void requireFreeTargets(const PublicationPlan &plan) {
    for (const PlannedFile &file : plan.files)
        requireFreeTarget(file.target);
}

void publish(const PublicationPlan &plan, MappingMode mode, std::vector<fs::path> &made) {
    MappingMaker maker(mode);
    for (const PlannedFile &file : plan.files) {
        maker.make(file.source, file.target);
        // Behind the making, which leaves all of a mapping or none.
        made.push_back(file.target);
    }
}

/// No look at whose they are is needed: their places were free a moment ago.
void unpublish(const std::vector<fs::path> &links) {
    LogStream(LogLevel::Info) << "Cleaning up generated mappings";
    forEachLogged(links, [](const fs::path &link) {
        inParent(link, [](const Directory &parent, const std::string &name) { parent.removeFile(name); });
    });
}

void takeBackFiles(const PublicationPlan &plan, CopiedLinks copiedLinks) {
    std::set<fs::path> unfinished;
    for (const PlannedFile &file : plan.files) {
        unfinished.insert(file.target.parent_path() / Common::unfinishedCopyName);
        forEachThere({file.target}, [&](const Directory &parent, const std::string &name) {
            const fs::path place = parent.reach(name);
            if (isMappingOf(place, file.source) ||
                (copiedLinks == CopiedLinks::AreOurs && isCopiedLinkOf(place, file.source)))
                parent.removeFile(name);
        });
    }
    // Nothing tells whose copy it was to be; but nobody else is making one.
    forEachThere({unfinished.begin(), unfinished.end()},
                 [](const Directory &parent, const std::string &name) { parent.removeFile(name); });
}

void takeBack(const PublicationPlan &plan) {
    // A plan is written only when its targets were found free.
    takeBackFiles(plan, CopiedLinks::AreOurs);
    removeEmptyDirectories({plan.directories.rbegin(), plan.directories.rend()});
}

void removeMappings(const std::vector<fs::path> &links) {
    forEachLogged(links, [](const fs::path &link) {
        inParent(link, [](const Directory &parent, const std::string &name) {
            if (isMapping(parent.reach(name)))
                parent.removeFile(name);
        });
    });
}

void removeEmptyDirectories(const std::vector<fs::path> &directories) {
    forEachLogged(directories, [](const fs::path &directory) {
        inParent(directory,
                 [](const Directory &parent, const std::string &name) { parent.removeIfEmpty(name); });
    });
}

} // namespace Core::KELP
