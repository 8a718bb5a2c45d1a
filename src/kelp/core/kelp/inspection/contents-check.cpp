#include "kelp/core/kelp/inspection/contents-check.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/digest.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

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

/// What a package may have in its version's directory beside what was staged.
bool isReserved(const std::string &path) {
    constexpr std::array<std::string_view, 4> names = {"manifest.json", ".install", ".upgrade", ".remove"};
    return std::ranges::find(names, path) != names.end();
}

} // namespace

const char *nameOf(Kind kind) {
    constexpr std::array names = {"altered", "mode", "owner", "type", "gone", "extra", "attribute"};
    return names.at(static_cast<std::size_t>(kind));
}

std::vector<Difference> ContentsCheck::look(Unread &unread) {
    compare(unread);
    return std::move(differences_);
}

std::vector<Difference> ContentsCheck::verify(Unread &unread, const std::function<void()> &step) {
    compare(unread);
    readAll(unread, step);
    return std::move(differences_);
}

void ContentsCheck::compare(Unread &unread) {
    std::vector<std::string> unseen;
    const std::vector<ContentsEntry> tree =
        contentsOfTree(version_, [&](const std::string &path, const Common::Error &error) {
            unread.add(Common::explainedText(error));
            unseen.push_back(path);
        });
    std::unordered_map<std::string_view, const ContentsEntry *> found;
    for (const ContentsEntry &entry : tree)
        found.emplace(entry.path, &entry);
    for (const ContentsEntry &listed : list_->entries) {
        if (const auto entry = found.find(listed.path); entry != found.end()) {
            compareEntry(listed, *entry->second);
            if (listed.isSignable && entry->second->type == Type::File)
                compareAttribute(listed, unread);
        } else if (!isWithinAny(listed.path, unseen)) {
            add(Kind::Gone, listed, "is gone");
        }
    }
    addExtra(tree);
}

void ContentsCheck::compareEntry(const ContentsEntry &listed, const ContentsEntry &found) {
    if (found.type != listed.type)
        return add(Kind::Type, listed,
                   std::string("is ") + nameOf(found.type) + ", and not " + nameOf(listed.type));
    if (found.target != listed.target)
        add(Kind::Altered, listed, "leads to " + found.target + ", and not to " + listed.target);
    if (listed.type != Type::Link && found.mode != listed.mode)
        add(Kind::Mode, listed, "has mode " + octal(found.mode) + ", and not " + octal(listed.mode));
    if (found.owner != listed.owner || found.group != listed.group)
        add(Kind::Owner, listed, "belongs to " + ownersOf(found) + ", and not to " + ownersOf(listed));
    if (found.size != listed.size)
        add(Kind::Altered, listed,
            "has " + std::to_string(found.size) + " bytes, and not " + std::to_string(listed.size));
    else if (listed.type == Type::File)
        comparable_.push_back(&listed);
}

void ContentsCheck::compareAttribute(const ContentsEntry &listed, Unread &unread) {
    const fs::path path = version_ / listed.path;
    std::array<char, 256> value{};
    const ssize_t size = ::lgetxattr(path.c_str(), applicationIdAttribute, value.data(), value.size());
    const std::string name = applicationIdAttribute;
    if (size < 0 && errno != ENODATA && errno != ENOTSUP && errno != ERANGE)
        unread.add("Couldn't look at " + name + " of " + path.string());
    else if (size < 0 && errno != ERANGE)
        add(Kind::Attribute, listed, "has no " + name);
    else if (size < 0 || std::string_view(value.data(), static_cast<std::size_t>(size)) != id_)
        add(Kind::Attribute, listed, "has another application's " + name);
}

void ContentsCheck::readAll(Unread &unread, const std::function<void()> &step) {
    const Common::FileDescriptor tree(::open(version_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (const ContentsEntry *listed : comparable_) {
        const auto digest = unread.attempt(
            [&] { return Common::Rpm::sha256Beneath(tree.get(), listed->path, version_ / listed->path); });
        if (digest && *digest != listed->digest)
            add(Kind::Altered, *listed, "has other content");
        step();
    }
}

void ContentsCheck::addExtra(const std::vector<ContentsEntry> &found) {
    std::unordered_set<std::string_view> listed;
    for (const ContentsEntry &entry : list_->entries)
        listed.insert(entry.path);
    std::unordered_set<std::string_view> extra;
    for (const ContentsEntry &entry : found) {
        if (listed.contains(entry.path) || isReserved(entry.path))
            continue;
        // Of a whole directory that is too much, one line is enough.
        if (!extra.contains(parentOf(entry.path)))
            differences_.push_back({Kind::Extra, entry.path, "is on no list"});
        extra.insert(entry.path);
    }
}

void ContentsCheck::add(Kind kind, const ContentsEntry &listed, std::string text) {
    const bool isExpected = kind == Kind::Altered && listed.isConfiguration;
    differences_.push_back({kind, listed.path, std::move(text), isExpected, listed});
}

} // namespace Core::KELP
