#include "kelp/core/kelp/publication.h"

#include "kelp/core/common/directory.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/common/log-stream.h"
#include "kelp/core/common/path-tests.h"
#include "kelp/core/kelp/mappings/mapping.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::LogLevel;
using Common::LogStream;

constexpr const char *copiedSubgroup = "mdm";

void publishMapping(const fs::path &source, const Mapping &mapping, MappingMode mode, Publication &made) {
    if (!Common::exists(source))
        return;
    const fs::path target = fs::absolute(mapping.target());
    if (mapping.ownsDirectory())
        made.directories.push_back(target.parent_path());
    for (const fs::path &entry : Common::listDirectory(source, Common::Listing::Recursive)) {
        const fs::path published = target / entry.lexically_relative(source);
        if (Common::isDirectory(entry)) {
            made.directories.push_back(published);
        } else {
            createMapping(entry, published, mode);
            made.links.push_back(published);
        }
    }
}

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

} // namespace

MappingMode publicationMode(const fs::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup) {
    const auto needsCopies = [&](const Mapping &mapping) {
        return mapping.requiresCopy() && Common::exists(tree / mapping.source());
    };
    return subgroup == copiedSubgroup || std::ranges::any_of(mappings, needsCopies) ? MappingMode::Copy
                                                                                    : MappingMode::Link;
}

Publication publish(const fs::path &tree, const std::vector<Mapping> &mappings, MappingMode mode) {
    Publication made;
    try {
        for (const Mapping &mapping : mappings)
            publishMapping(tree / mapping.source(), mapping, mode, made);
        return made;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        unpublish(made.links);
        throw;
    }
}

void unpublish(const std::vector<fs::path> &links) {
    LogStream(LogLevel::Info) << "Cleaning up generated mappings";
    forEachLogged(links, [](const fs::path &link) {
        inParent(link, [](const Directory &parent, const std::string &name) { parent.removeFile(name); });
    });
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
