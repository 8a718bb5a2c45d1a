#include "kelp/core/kelp/publication/left-behind.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/publication/publication.h"

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

fs::path leftBehindDirectory() {
    return Common::belowRoot("var/lib/kelp/left-behind");
}

std::optional<PublicationPlan> readLeftBehind(const std::string &id) {
    const auto text = Common::readIfExists(leftBehindFile(id));
    if (!text)
        return std::nullopt;
    auto left = parsePublicationPlan(*text);
    if (!left)
        throw Error(ErrorCode::Filesystem, "Couldn't read file: " + leftBehindFile(id).string());
    return left;
}

template<class Entry>
void addMissing(std::vector<Entry> &all, const std::vector<Entry> &added) {
    std::set<Entry> known(all.begin(), all.end());
    for (const Entry &entry : added)
        if (known.insert(entry).second)
            all.push_back(entry);
}

} // namespace

fs::path leftBehindFile(const std::string &id) {
    return leftBehindDirectory() / id;
}

std::vector<std::string> idsLeftBehind() {
    const fs::path directory = leftBehindDirectory();
    return Common::reraiseAs(ErrorCode::Filesystem, "Couldn't read directory: " + directory.string(), [&] {
        std::vector<std::string> ids;
        if (fs::status(directory).type() != fs::file_type::not_found)
            for (const fs::directory_entry &entry : fs::directory_iterator(directory))
                // A killed run left a temporary file; the next write replaces it.
                if (std::string name = entry.path().filename(); !name.starts_with('.'))
                    ids.push_back(std::move(name));
        std::ranges::sort(ids);
        return ids;
    });
}

PublicationPlan leftBehind(const std::string &id) {
    return readLeftBehind(id).value_or(PublicationPlan());
}

void noteLeftBehind(const std::string &id, const PublicationPlan &left) {
    PublicationPlan all = leftBehind(id);
    addMissing(all.directories, left.directories);
    addMissing(all.files, left.files);
    Common::createDirectories(leftBehindDirectory());
    // No id begins with ".", but one may end in ".new": a neighbour ID.new would replace that package's file.
    const fs::path next = leftBehindDirectory() / ".next";
    writePublicationPlan(next, all);
    Common::move(next, leftBehindFile(id));
    Common::flushFile(leftBehindDirectory());
    // The directory may be new.
    Common::flushFile(leftBehindDirectory().parent_path());
}

void takeBackLeftBehind(const std::string &id) {
    const auto plan = readLeftBehind(id);
    if (!plan)
        return;
    if (takeBackDead(*plan) != PublicationPlan())
        throw Error(ErrorCode::Filesystem,
                    "Couldn't take back what " + id + " has published: see " + leftBehindFile(id).string());
    std::set<fs::path> places;
    for (const PlannedFile &file : plan->files)
        places.insert(fs::path(file.target).parent_path());
    // If a power cut brought the links back, no list would name them any more.
    Common::flushFilesystems(places);
    Common::removeAll(leftBehindFile(id));
    std::error_code ignored;
    fs::remove(leftBehindDirectory(), ignored); // Fails while there are other files.
}

} // namespace Core::KELP
