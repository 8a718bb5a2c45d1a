#include "kelp/core/kelp/skid/unit-move.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP::SKID {

namespace {

using Common::Directory;
using Common::LogLevel;
using Common::LogStream;

bool isBelow(const fs::path &path, const fs::path &directory) {
    const fs::path relative = path.lexically_relative(directory);
    return !relative.empty() && *relative.begin() != "." && *relative.begin() != "..";
}

/// The part of the path in which only root can have made links.
fs::path baseOf(const fs::path &path) {
    const fs::path root = Common::rootPath();
    for (const char *shared : {"srv", "usr/share/common"})
        if (isBelow(path, root / shared))
            return root / shared;
    if (isBelow(path, root / "home"))
        return root / "home" / *path.lexically_relative(root / "home").begin();
    return path.is_absolute() ? path.root_path() : ".";
}

fs::path withoutLastSlash(const fs::path &path) {
    return path.has_filename() ? path : path.parent_path();
}

/// A real directory; a merge leaves any other entry alone.
std::optional<Directory> subdirectory(const Directory &directory, const std::string &name) {
    try {
        return directory.find(name);
    } catch (const std::system_error &error) {
        if (!Directory::isRefusal(error))
            throw;
        return std::nullopt;
    }
}

void moveEntry(const Directory &from, const std::string &name, const Directory &to);

/// An entry that cannot be moved does not stop the others.
void moveEntries(const std::vector<std::string> &names, const Directory &from, const Directory &to) {
    for (const std::string &name : names) {
        try {
            moveEntry(from, name, to);
        } catch (const std::system_error &error) {
            LogStream(LogLevel::Error) << error;
        }
    }
}

/// Moves the entries of `source`, the entry `name` of `parent`. After a kill a repeated call moves the rest.
void merge(const Directory &parent, const std::string &name, const Directory &source,
           const Directory &target) {
    moveEntries(source.names(), source, target);
    parent.removeIfEmpty(name);
}

/// Moves an entry if its name is free; merges two directories. Existing entries win.
void moveEntry(const Directory &from, const std::string &name, const Directory &to) {
    if (from.move(name, to, name))
        return;
    const auto source = subdirectory(from, name);
    const auto target = subdirectory(to, name);
    if (source && target)
        merge(from, name, *source, *target);
    else
        LogStream(LogLevel::Warning) << "Left at its old place, since the new one is taken: "
                                     << from.path() / name;
}

} // namespace

UnitMove::UnitMove(const fs::path &from, const fs::path &to, const std::vector<std::string> &stays,
                   Clash clash) :
    base_(baseOf(from)),
    from_(withoutLastSlash(from.lexically_relative(base_))),
    to_(withoutLastSlash(to.lexically_relative(base_))),
    stays_(stays),
    clash_(clash) {}

void UnitMove::run() const {
    // srv/ or a home may be missing; then there is nothing to move.
    if (!Common::exists(base_))
        return;
    const Directory base(base_);
    if (isBelow(to_, from_))
        moveInto(base);
    else
        moveBeside(base);
}

void UnitMove::moveBeside(const Directory &base) const {
    const auto parent = base.find(from_.parent_path());
    const auto source = parent ? parent->find(from_.filename()) : std::nullopt;
    if (!source)
        return;
    auto target = base.find(to_);
    if (!target || target->names().empty()) {
        const Directory holder = base.make(to_.parent_path());
        holder.removeIfEmpty(to_.filename()); // An earlier version made it before its move.
        if (parent->move(from_.filename(), holder, to_.filename()))
            return;
        target = base.find(to_);
    }
    if (target && clash_ == Clash::IsMerged)
        return merge(*parent, from_.filename(), *source, *target);
    // Both hold something, and nothing tells which counts.
    LogStream(LogLevel::Error) << "Internal error: " << base_ / from_ / ""
                               << " and " << base_ / to_ / ""
                               << " directories shouldn't exists concurrently";
}

/// A directory cannot be moved straight into itself. If all of it goes, it goes by way of a neighbour; after
/// a kill the next start goes on from that. If something stays, it goes child by child.
void UnitMove::moveInto(const Directory &base) const {
    const auto holder = base.find(from_.parent_path());
    if (!holder)
        return;
    const std::string aside = ".tmp." + from_.filename().string();
    if (!holder->find(aside)) {
        const auto source = base.find(from_);
        if (source && movable(*source).size() == source->names().size())
            holder->move(from_.filename(), *holder, aside);
    }
    if (const auto interrupted = holder->find(aside))
        finish(*holder, *interrupted);
    moveChildren(*holder);
}

void UnitMove::finish(const Directory &holder, const Directory &aside) const {
    const Directory source = holder.make(from_.filename());
    // An earlier version set aside entries that should have stayed.
    for (const std::string &name : aside.names())
        if (std::ranges::find(stays_, name) != stays_.end())
            moveEntry(aside, name, source);
    const fs::path inner = to_.lexically_relative(from_);
    const Directory parent = source.make(inner.parent_path());
    parent.removeIfEmpty(inner.filename());
    if (holder.move(aside.path().filename(), parent, inner.filename()))
        return;
    merge(holder, aside.path().filename(), aside, source.make(inner));
}

void UnitMove::moveChildren(const Directory &holder) const {
    const auto source = holder.find(from_.filename());
    const std::vector<std::string> left = source ? movable(*source) : std::vector<std::string>();
    if (left.empty())
        return;
    const fs::path inner = to_.lexically_relative(from_);
    if (const auto target = source->find(inner); stays_.empty() && target && !target->names().empty())
        return; // Without a list of what stays, the move counts as done.
    moveEntries(left, *source, source->make(inner));
}

/// The children that neither stay nor are on the way to the new place.
std::vector<std::string> UnitMove::movable(const Directory &source) const {
    std::vector<std::string> names = source.names();
    const std::string way = *to_.lexically_relative(from_).begin();
    std::erase_if(names, [&](const std::string &name) {
        return name == way || std::ranges::find(stays_, name) != stays_.end();
    });
    return names;
}

} // namespace Core::KELP::SKID
