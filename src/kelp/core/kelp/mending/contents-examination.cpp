#include "kelp/core/kelp/mending/contents-examination.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/inspection/contents-check.h"
#include "kelp/core/kelp/mending/examination.h"
#include "kelp/core/kelp/mending/held-entry.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/integrity-resource.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "kelp/core/kelp/package/store-names.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <sstream>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;
using Type = ContentsEntry::Type;

constexpr mode_t allModeBits = 0777;
constexpr mode_t directoryMode = 0755;
constexpr mode_t fileMode = 0644;

std::string octal(mode_t mode) {
    std::ostringstream text;
    text << std::oct << mode;
    return text.str();
}

FindingKind kindOf(Difference::Kind kind) {
    // In the order of the enumeration; Extra never comes here.
    constexpr std::array kinds = {FindingKind::Altered,  FindingKind::Mode, FindingKind::Owner,
                                  FindingKind::Type,     FindingKind::Gone, FindingKind::Foreign,
                                  FindingKind::Attribute};
    return kinds.at(static_cast<std::size_t>(kind));
}

mode_t formatOf(Type type) {
    return type == Type::Directory ? S_IFDIR : type == Type::Link ? S_IFLNK : S_IFREG;
}

/// Does not flush its repairs: after a power cut the fault is found again.
void restore(const fs::path &version, const std::string &id, const Difference &difference) {
    const ContentsEntry &listed = difference.listed;
    const FileDescriptor tree(::open(version.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const HeldEntry entry(Common::openBeneath(tree.get(), listed.path, O_PATH | O_NOFOLLOW | O_CLOEXEC),
                          version / listed.path, formatOf(listed.type));
    if (difference.kind == Difference::Kind::Mode)
        entry.setMode(listed.mode);
    else if (difference.kind == Difference::Kind::Owner)
        entry.setOwner(listed.owner, listed.group);
    else
        entry.setApplication(id);
}

/// A file or directory that the store has made.
struct OwnPlace {
    fs::path path;
    mode_t type;
    mode_t mode;
    int open = O_PATH | O_NOFOLLOW | O_CLOEXEC; ///< How it is opened.

    HeldEntry held() const { return {FileDescriptor(::open(path.c_str(), open)), path, type}; }
};

/// Nothing is known of what could not be looked at: it may be fine.
void addFailedLook(const std::string &id, const fs::path &path, int error, std::vector<Finding> &findings) {
    if (!Common::provesAbsence(error))
        findings.push_back({id,
                            FindingKind::Unexamined,
                            path,
                            "could not be examined: " + std::generic_category().message(error),
                            {}});
}

/// Expects them as the store makes them: readable by everybody, changed only by root.
void examinePlace(const std::string &id, const OwnPlace &place, std::vector<Finding> &findings) {
    struct stat status = {};
    const int flags = (place.open & O_NOFOLLOW) != 0 ? AT_SYMLINK_NOFOLLOW : 0;
    if (::fstatat(AT_FDCWD, place.path.c_str(), &status, flags) != 0)
        return addFailedLook(id, place.path, errno, findings);
    // Another kind of entry there is reported elsewhere.
    if ((status.st_mode & S_IFMT) != place.type)
        return;
    const mode_t mode = status.st_mode & allModeBits;
    if (mode != place.mode)
        findings.push_back(
            {id, FindingKind::Mode, place.path,
             "has mode " + octal(mode) + ", and not " + octal(place.mode) + "; --repair sets it",
             [place] { place.held().setMode(place.mode); }});
    if (status.st_uid != 0 || status.st_gid != 0)
        findings.push_back({id, FindingKind::Owner, place.path,
                            "does not belong to root; --repair changes that",
                            [place] { place.held().setOwner(0, 0); }});
}

/// The current version of one package under examination.
class ContentsExamination {
public:
    ContentsExamination(const IConfiguration &configuration, const StoredPackage &package) :
        configuration_(configuration),
        resolver_(configuration),
        package_(package),
        version_(resolver_.versionDirectory(package.id, package.version)) {}

    std::vector<Finding> run() {
        const std::string &id = package_.id;
        for (const OwnPlace &place : {OwnPlace{resolver_.packageDirectory(id), S_IFDIR, directoryMode},
                                      OwnPlace{version_, S_IFDIR, directoryMode},
                                      OwnPlace{version_ / StoreName::resources, S_IFDIR, directoryMode},
                                      OwnPlace{resource(), S_IFREG, fileMode}})
            examinePlace(id, place, findings_);
        examinePlace(id, {resolver_.currentDirectory(id), S_IFLNK, allModeBits}, findings_);
        // Who can write to one decides what the store believes of the version.
        for (const char *name : StoreName::files)
            examinePlace(id, {version_ / name, S_IFREG, fileMode}, findings_);
        Unread unread;
        if (const auto list =
                unread.attempt([&] { return ContentsList::read(version_); }).value_or(std::nullopt)) {
            for (const Difference &difference : ContentsCheck(id, version_, *list).look(unread))
                add(difference);
            unread.attempt([&] { return examineResource(*list); });
        }
        for (const std::string &text : unread.texts())
            findings_.push_back(
                {id, FindingKind::Unexamined, version_, "could not be examined: " + text, {}});
        return std::move(findings_);
    }

private:
    fs::path resource() const { return resolver_.integrityResourceFile(package_.id, package_.version); }

    void add(const Difference &difference) {
        using Kind = Difference::Kind;
        const Kind kind = difference.kind;
        if (difference.isExpected || kind == Kind::Extra ||
            (kind == Kind::Gone && isPublished(difference.path)))
            return;
        const bool isMendable = kind == Kind::Mode || kind == Kind::Owner || kind == Kind::Attribute;
        std::function<void()> mend;
        if (isMendable)
            mend = [version = version_, id = package_.id, difference] { restore(version, id, difference); };
        findings_.push_back({package_.id, kindOf(kind), version_ / difference.path,
                             difference.text + (isMendable ? "; --repair sets it" : ""), std::move(mend)});
    }

    /// Then the finding about its target tells its fate.
    bool isPublished(const std::string &path) {
        if (!published_)
            published_ =
                StoreView(configuration_).publishedFiles(package_.id).value_or(std::vector<std::string>());
        return std::ranges::any_of(publicationRows(*package_.information), [&](const Mapping &mapping) {
            const std::string source = mapping.source() + "/";
            return path.starts_with(source) &&
                   std::ranges::find(*published_, mapping.target() + path.substr(source.size())) !=
                       published_->end();
        });
    }

    /// The store made it from a file of the version, and can again, unless that file is altered.
    bool examineResource(const ContentsList &list) {
        const std::string source = "integrityd/" + package_.id + ".json";
        const auto listed = std::ranges::find(list.entries, source, &ContentsEntry::path);
        if (listed == list.entries.end() ||
            !Common::lookFor(Common::belowRoot(integrityConfigurationStamp.path)))
            return false;
        const FileDescriptor tree(::open(version_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!Common::lookFor(version_ / source) ||
            Common::Rpm::sha256Beneath(tree.get(), source, version_ / source) != listed->digest)
            return false;
        const auto text = integrityResourceText(*package_.information, version_ / source);
        const auto found = Common::readIfExists(resource());
        if (text && found != text)
            findings_.push_back({package_.id, found ? FindingKind::Altered : FindingKind::Gone, resource(),
                                 "is not what the store has made of " + source + "; --repair makes it anew",
                                 [path = resource(), text = *text] {
                                     fs::create_directories(path.parent_path());
                                     Common::replaceDurably(path, text);
                                 }});
        return true;
    }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    StoredPackage package_;
    fs::path version_;
    std::optional<std::vector<std::string>> published_;
    std::vector<Finding> findings_;
};

/// In the machine's time zone, for people.
std::string today() {
    std::array<char, 16> text{};
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::localtime_r(&now, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

} // namespace

std::vector<Finding> examineContents(const IConfiguration &configuration, const StoredPackage &package) {
    return ContentsExamination(configuration, package).run();
}

void examineSharedDirectory(const std::string &id, const fs::path &path, std::vector<Finding> &findings) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        return addFailedLook(id, path, errno, findings);
    constexpr mode_t searchable = 0111;
    const auto add = [&](FindingKind kind, const char *text) {
        findings.push_back({id, kind, path, text, {}});
    };
    if ((status.st_mode & searchable) != searchable)
        add(FindingKind::Mode, "lets not everybody through to the files of applications: chmod 755");
    if ((status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0))
        add(FindingKind::Mode, "lets others than root exchange what leads to applications: chmod go-w");
    if (status.st_uid != 0)
        add(FindingKind::Owner, "does not belong to root, and leads to applications: chown root");
}

std::vector<Finding> examineStoreDirectory(const IConfiguration &configuration) {
    std::vector<Finding> findings;
    const fs::path &store = configuration.databaseDirectory();
    // The machine's owner may have put a link in its place.
    examinePlace("", {store, S_IFDIR, directoryMode, O_PATH | O_CLOEXEC}, findings);
    for (fs::path parent = store.parent_path(); parent.has_relative_path(); parent = parent.parent_path())
        examineSharedDirectory("", parent, findings);
    examineSharedDirectory("", Common::rootPath(), findings);
    return findings;
}

std::vector<StoredPackage> packagesWithoutList(const IConfiguration &configuration,
                                               const std::set<std::string> &ids) {
    const DatabasePathResolver resolver(configuration);
    const std::set<std::string> underWay = idsUnderWay(configuration);
    std::vector<StoredPackage> packages = StoreView(configuration).packages();
    std::erase_if(packages, [&](const StoredPackage &package) {
        if ((!ids.empty() && !ids.contains(package.id)) || underWay.contains(package.id) ||
            !package.information || package.isLink || package.isObstructed || package.hasNext ||
            !package.failure.empty())
            return true;
        try {
            return ContentsList::read(resolver.versionDirectory(package.id, package.version)).has_value();
        } catch (const Error &) {
            // It has an unreadable one, which the examination reports.
            return true;
        }
    });
    return packages;
}

void listAsFound(const IConfiguration &configuration, const StoredPackage &package) {
    const fs::path version =
        DatabasePathResolver(configuration).versionDirectory(package.id, package.version);
    const auto describe = [&](ContentsEntry &file, int directory, const std::string &name) {
        if (file.type != Type::File)
            return;
        file.digest = Common::Rpm::sha256Beneath(directory, name, version / file.path);
        file.isHashed = true;
        file.isSignable = carriesId(version / file.path, package.id);
    };
    ContentsList list{today(), contentsOfTree(version, {}, describe)};
    std::erase_if(list.entries, [](const ContentsEntry &entry) { return entry.type == Type::Other; });
    list.write(version, Common::Durability::Flushed);
}

} // namespace Core::KELP
