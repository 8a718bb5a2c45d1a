#include "kelp/core/kelp/publication/publication-plan.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/kelp/mappings/mapping.h"

#include <sstream>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

constexpr std::string_view targetKey = "target ";
constexpr std::string_view sourceKey = "source ";
constexpr std::string_view directoryKey = "directory ";
constexpr std::string_view endKey = "end ";

struct Entry {
    std::string path; ///< Below the directory.
    bool isDirectory; ///< Not a link to one.
};

/// Uses the kinds that directories store with their entries: a look at each would cost more than all else
/// here.
std::vector<Entry> entriesBelow(const fs::path &directory, DanglingLinks danglingLinks) {
    return Common::reraiseAs(
        Common::ErrorCode::Filesystem, "Couldn't read directory: " + directory.string(), [&] {
            std::vector<Entry> entries;
            for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory)) {
                const bool isLink = entry.is_symlink();
                // Raises for a dangling link.
                if (isLink && danglingLinks == DanglingLinks::Fail)
                    static_cast<void>(fs::last_write_time(entry.path()));
                entries.push_back({entry.path().native().substr(directory.native().size() + 1),
                                   !isLink && entry.is_directory()});
            }
            return entries;
        });
}

/// Raises when the look fails: taken for absence, that would leave out all files of the row.
fs::file_type typeOf(const fs::path &path) {
    return Common::reraiseAs(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path.string(),
                             [&] { return fs::symlink_status(path).type(); });
}

bool leadsSomewhere(const fs::path &link) {
    std::error_code error;
    const bool isThere = fs::exists(link, error);
    if (error && error != std::errc::too_many_symbolic_link_levels)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + link.string(),
                            error.value());
    return isThere;
}

bool isUnfinishedCopy(std::string_view path) {
    return path.substr(path.rfind('/') + 1) == Common::unfinishedCopyName;
}

/// The walk over one version.
class PublicationWalk {
public:
    PublicationWalk(const fs::path &tree, const fs::path &current, DanglingLinks danglingLinks,
                    const std::function<void(PlannedFile)> &useFile,
                    const std::function<void(std::string)> &useDirectory) :
        tree_(tree),
        current_(current),
        danglingLinks_(danglingLinks),
        useFile_(useFile),
        useDirectory_(useDirectory) {}

    void take(const Mapping &mapping) const {
        const fs::path below = tree_ / mapping.source();
        const fs::path target = fs::absolute(mapping.target());
        const fs::path source = current_ / mapping.source();
        const fs::file_type type = typeOf(below);
        // A target ends in "/", and its parent is the same without it.
        const std::string place = target.parent_path().native();
        if (type == fs::file_type::symlink) {
            // A row's source may itself be a link: that is one file, at the row's target.
            if (danglingLinks_ == DanglingLinks::Count || leadsSomewhere(below))
                useFile_({place, source.native()});
        } else if (type != fs::file_type::not_found) {
            if (mapping.ownsDirectory())
                useDirectory_(place);
            takeTree(below, place + "/", source.native() + "/");
        }
    }

private:
    void takeTree(const fs::path &tree, const std::string &target, const std::string &source) const {
        for (const Entry &entry : entriesBelow(tree, danglingLinks_))
            if (entry.isDirectory)
                useDirectory_(target + entry.path);
            // A package may ship a file of this name: once published, it would be removed as an unfinished
            // copy.
            else if (!isUnfinishedCopy(entry.path))
                useFile_({target + entry.path, source + entry.path});
    }

    const fs::path &tree_;
    const fs::path &current_;
    DanglingLinks danglingLinks_;
    const std::function<void(PlannedFile)> &useFile_;
    const std::function<void(std::string)> &useDirectory_;
};

/// Takes the line that begins with `key`; nothing when the next one does not.
std::optional<std::string> takeLine(std::istringstream &lines, std::string_view key) {
    const auto position = lines.tellg();
    std::string line;
    // The last line of a torn file has no line feed.
    if (std::getline(lines, line) && !lines.eof() && line.starts_with(key))
        return Common::unescapeLine(line.substr(key.size()));
    lines.clear();
    lines.seekg(position);
    return std::nullopt;
}

void appendLine(std::string &content, std::string_view key, const std::string &path) {
    content.append(key).append(Common::escapeLine(path)).append("\n");
}

std::string countOf(const PublicationPlan &plan) {
    return std::to_string(plan.files.size() + plan.directories.size());
}

} // namespace

void walkPublication(const fs::path &tree, const fs::path &current, const std::vector<Mapping> &mappings,
                     DanglingLinks danglingLinks, const std::function<void(PlannedFile)> &useFile,
                     const std::function<void(std::string)> &useDirectory) {
    const PublicationWalk walk(tree, current, danglingLinks, useFile, useDirectory);
    for (const Mapping &mapping : mappings)
        walk.take(mapping);
}

PublicationPlan planPublication(const fs::path &tree, const fs::path &current,
                                const std::vector<Mapping> &mappings, DanglingLinks danglingLinks) {
    PublicationPlan plan;
    walkPublication(
        tree, current, mappings, danglingLinks,
        [&](PlannedFile file) { plan.files.push_back(std::move(file)); },
        [&](std::string directory) { plan.directories.push_back(std::move(directory)); });
    return plan;
}

void writePublicationPlan(const fs::path &file, const PublicationPlan &plan) {
    std::string content;
    for (const std::string &directory : plan.directories)
        appendLine(content, directoryKey, directory);
    for (const PlannedFile &planned : plan.files) {
        appendLine(content, targetKey, planned.target);
        appendLine(content, sourceKey, planned.source);
    }
    appendLine(content, endKey, countOf(plan));
    Common::replaceDurably(file, content);
    // Otherwise mappings on another filesystem could be on disk before the name of the plan.
    Common::flushFile(file.parent_path());
}

std::optional<PublicationPlan> parsePublicationPlan(const std::string &text) {
    std::istringstream lines(text);
    PublicationPlan plan;
    while (const auto directory = takeLine(lines, directoryKey))
        plan.directories.emplace_back(*directory);
    while (const auto target = takeLine(lines, targetKey)) {
        // A target without its source cannot be told from a foreign file.
        const auto source = takeLine(lines, sourceKey);
        if (!source)
            return std::nullopt;
        plan.files.push_back({*target, *source});
    }
    return takeLine(lines, endKey) == countOf(plan) ? std::optional(plan) : std::nullopt;
}

} // namespace Core::KELP
