#include "kelp/core/kelp/inspection/contents-check.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/contents-reading.h"
#include "kelp/core/kelp/package/store-names.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Kind = Difference::Kind;
using Type = ContentsEntry::Type;

const char *nameOf(Type type) {
    constexpr std::array names = {"a directory", "a file", "a link", "something else"};
    return names.at(static_cast<std::size_t>(type));
}

std::string octal(unsigned mode) {
    std::ostringstream text;
    text << std::oct << mode;
    return text.str();
}

std::string ownersOf(const ContentsEntry &entry) {
    return std::to_string(entry.owner) + ":" + std::to_string(entry.group);
}

std::string_view parentOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return path.substr(0, slash == std::string_view::npos ? 0 : slash);
}

/// Whether a path is one of these, or below one.
bool isWithinAny(const std::string &path, const std::vector<std::string> &places) {
    return std::ranges::any_of(places, [&](const std::string &place) {
        return place.empty() || path == place || path.starts_with(place + '/');
    });
}

/// Entries of a version's directory beside the staged ones.
bool isReserved(const std::string &path) {
    return path == StoreName::manifest ||
           std::ranges::find(StoreName::reserved, path) != StoreName::reserved.end();
}

} // namespace

const char *nameOf(Kind kind) {
    constexpr std::array names = {"altered", "mode", "owner", "type", "gone", "extra", "attribute"};
    return names.at(static_cast<std::size_t>(kind));
}

std::vector<Difference> ContentsCheck::look(Unread &unread) {
    return compare(unread, [&](const std::vector<FoundFile> &files) {
        for (const auto &[listed, found] : files) {
            // As text: a path object for each file would cost more than the look.
            const std::string path = version_.native() + '/' + found->path;
            const auto get = [&](char *value, std::size_t size) {
                return ::lgetxattr(path.c_str(), applicationIdAttribute, value, size);
            };
            found->isSignable = listed->isSignable && carriesOwnId(id_, path, unread, get);
        }
    });
}

std::vector<Difference> ContentsCheck::verify(Unread &unread, const std::function<void()> &step) {
    return compare(unread, [&](const std::vector<FoundFile> &files) {
        ContentsReading(id_, version_, files, step).run(unread);
    });
}

/// Usually the next entry: list and tree have the same order.
const ContentsEntry *ContentsCheck::find(const std::string &path) {
    const std::vector<ContentsEntry> &entries = list_->entries;
    if (next_ < entries.size() && entries[next_].path == path)
        return &entries[next_++];
    if (places_.empty())
        for (std::size_t i = 0; i < entries.size(); ++i)
            places_.emplace(entries[i].path, i);
    const auto found = places_.find(path);
    if (found == places_.end())
        return nullptr;
    next_ = found->second + 1;
    return &entries[found->second];
}

std::vector<Difference>
ContentsCheck::compare(Unread &unread,
                       const std::function<void(const std::vector<FoundFile> &files)> &examine) {
    std::vector<std::string> unseen;
    const auto miss = [&](const std::string &path, const Common::Error &error) {
        unread.add(Common::explainedText(error));
        unseen.push_back(path);
    };
    std::vector<ContentsEntry> tree = contentsOfTree(version_, miss, {}, list_->entries.size());
    std::vector<const ContentsEntry *> found(list_->entries.size());
    std::vector<FoundFile> files;
    files.reserve(tree.size());
    for (ContentsEntry &entry : tree)
        if (const ContentsEntry *listed = find(entry.path)) {
            found[static_cast<std::size_t>(listed - list_->entries.data())] = &entry;
            if (listed->type == Type::File && entry.type == Type::File)
                files.push_back({listed, &entry});
        } else {
            addExtra(entry.path);
        }
    examine(files);
    for (std::size_t i = 0; i < found.size(); ++i)
        if (const ContentsEntry &listed = list_->entries[i]; found[i])
            compareEntry(listed, *found[i]);
        else if (!isWithinAny(listed.path, unseen))
            add(Kind::Gone, listed, "is gone");
    return std::move(differences_);
}

void ContentsCheck::compareEntry(const ContentsEntry &listed, const ContentsEntry &found) {
    if (found.type != listed.type)
        return add(Kind::Type, listed,
                   std::string("is ") + nameOf(found.type) + ", and not " + nameOf(listed.type));
    if (found.target != listed.target)
        add(Kind::Altered, listed, "leads to " + found.target + ", and not to " + listed.target);
    if (listed.type != Type::Link && found.mode != listed.mode)
        add(Kind::Mode, listed, "has mode " + octal(found.mode) + ", and not " + octal(listed.mode));
    else if (found.isPrivileged && !listed.isPrivileged)
        add(Kind::Mode, listed, "has a setuid or setgid bit, and not just mode " + octal(listed.mode));
    if (found.owner != listed.owner || found.group != listed.group)
        add(Kind::Owner, listed, "belongs to " + ownersOf(found) + ", and not to " + ownersOf(listed));
    if (found.size != listed.size)
        add(Kind::Altered, listed,
            "has " + std::to_string(found.size) + " bytes, and not " + std::to_string(listed.size));
    else if (!found.digest.empty() && found.digest != listed.digest)
        add(Kind::Altered, listed, "has other content");
    if (listed.type == Type::File && listed.isSignable && !found.isSignable)
        add(Kind::Attribute, listed,
            std::string("does not carry the application's id as ") + applicationIdAttribute);
}

void ContentsCheck::addExtra(const std::string &path) {
    if (isReserved(path))
        return;
    // One line is enough for a whole extra directory.
    if (!extra_.contains(std::string(parentOf(path))))
        differences_.push_back({Kind::Extra, path, "is on no list"});
    extra_.insert(path);
}

void ContentsCheck::add(Kind kind, const ContentsEntry &listed, std::string text) {
    const bool isExpected = kind == Kind::Altered && listed.isConfiguration;
    differences_.push_back({kind, listed.path, std::move(text), isExpected, listed});
}

} // namespace Core::KELP
