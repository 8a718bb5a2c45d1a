#include "kelp/core/kelp/mappings/mapping-files.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

/// The sole mark that tells a copied file from an unrelated one.
constexpr const char *targetAttribute = "user.kelp.mapping.target";

Error conflictAt(const fs::path &target) {
    return {ErrorCode::FileConflict, "Attempt to overwrite existing file using mapping: " + target.string()};
}

std::string failureAt(const std::string &source, const std::string &target) {
    return "Couldn't create mapping: " + source + " -> " + target;
}

/// A relative target counts from the mapping's own directory: from the working directory, a healthy link such
/// as "sh -> dash" would look broken and be lost.
bool isBroken(const fs::path &mapping) {
    return isMapping(mapping) && !Common::lookThrough(mapping.parent_path() / mappingTarget(mapping));
}

/// A copy gets its attribute before its name: one without the attribute would stay for good.
void copyAsMapping(const fs::path &source, const Directory &parent, const std::string &name) {
    Common::copyInOneStep(source, parent, name, [&](const fs::path &copy) {
        Common::setExtendedAttribute(copy, targetAttribute, source.string());
    });
}

/// Usually nothing is there: one look tells, without an exception.
bool isPlainlyFree(const fs::path &place) {
    std::error_code ignored;
    return fs::symlink_status(place, ignored).type() == fs::file_type::not_found;
}

bool isLinkToDirectory(const fs::path &path) {
    return Common::isSymlink(path) && Common::isDirectory(path);
}

/// Compares the texts.
bool isIn(const std::string &directory, const std::string &path) {
    return path.rfind('/') == directory.size() && path.starts_with(directory);
}

} // namespace

fs::path mappingTarget(const fs::path &path) {
    try {
        return Common::isSymlink(path) ? Common::readSymlink(path)
                                       : fs::path(Common::extendedAttribute(path, targetAttribute));
    } catch (const std::exception &) {
        // Misspelt on purpose: people search logs for it.
        throw Error(ErrorCode::Internal, "Coulnd't retrieve target of " + path.string() + " mapping");
    }
}

namespace {

/// `name` is for people.
std::optional<fs::path> findMappingAt(const fs::path &path, const fs::path &name) {
    std::array<char, PATH_MAX> text;
    ssize_t size = ::readlink(path.c_str(), text.data(), text.size());
    // EINVAL means that it is not a link.
    if (size < 0 && errno == EINVAL)
        size = ::lgetxattr(path.c_str(), targetAttribute, text.data(), text.size());
    if (size >= 0)
        return std::string(text.data(), static_cast<std::size_t>(size));
    // A foreign attribute may be longer than any path.
    constexpr std::array absences = {ENOENT, ENOTDIR, ENODATA, EOPNOTSUPP, ERANGE};
    if (std::ranges::find(absences, errno) != absences.end())
        return std::nullopt;
    throw Error(ErrorCode::Filesystem, "Couldn't look for a mapping: " + name.string(), errno);
}

} // namespace

std::optional<fs::path> findMapping(const fs::path &path) {
    return findMappingAt(path, path);
}

std::optional<fs::path> findMapping(const Directory &directory, const std::string &name) {
    return findMappingAt(directory.reach(name), directory.path() / name);
}

/// Any link counts, also a foreign one: isMappingOf() tells whether it is the package's own.
bool isMapping(const fs::path &path) {
    try {
        mappingTarget(path);
        return true;
    } catch (const Error &) {
        return false;
    }
}

bool isMappingOf(const fs::path &path, const fs::path &source) {
    return findMapping(path) == source;
}

bool isMappingBelow(const fs::path &path, const fs::path &directory) {
    const auto found = findMapping(path);
    return found && found->native().starts_with(directory.native() + '/');
}

bool isCopiedLinkOf(const fs::path &path, const fs::path &source) {
    // A link cannot carry the attribute.
    return Common::isSymlink(path) && Common::isSymlink(source) &&
           Common::readSymlink(path) == Common::readSymlink(source);
}

void requireFreeTarget(const fs::path &target) {
    if (Common::lookThrough(target) && !isBroken(target))
        throw conflictAt(target);
}

bool removeIfBroken(const fs::path &mapping, const Directory &parent, const std::string &name) {
    try {
        if (!isBroken(parent.reach(name)))
            return false;
        LogStream(LogLevel::Info) << "Cleaning up broken mapping: " << mapping;
        return parent.removeFile(name);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        LogStream(LogLevel::Warning) << "Couldn't clean up broken mapping";
        return false;
    }
}

void createMapping(const fs::path &source, const fs::path &target, MappingMode mode) {
    MappingMaker(mode).make(source, target);
}

const Directory &MappingMaker::enter(const std::string &source, const std::string &target) {
    if (!parent_ || !isIn(parent_->path(), target))
        parent_ = Common::reraiseAs(ErrorCode::Filesystem, failureAt(source, target), [&] {
            return Directory::makeByLinksOfRoot(fs::path(target).parent_path());
        });
    return *parent_;
}

void MappingMaker::make(const fs::path &source, const fs::path &target) {
    const Directory &parent = enter(source, target);
    const std::string name = target.filename().string();
    const fs::path place = parent.reach(name);
    if (!isPlainlyFree(place)) {
        removeIfBroken(target, parent, name);
        if (Common::exists(place))
            throw conflictAt(target);
    }
    create(source, target, name);
}

void MappingMaker::makeBeside(const std::string &source, const std::string &target, const std::string &name) {
    // If the name is taken by now, the creation itself fails.
    static_cast<void>(enter(source, target));
    create(source, target, name);
}

void MappingMaker::create(const std::string &source, const std::string &target,
                          const std::string &name) const {
    Common::reraiseAs(ErrorCode::Filesystem, failureAt(source, target), [&] {
        if (mode_ == MappingMode::Link || isLinkToDirectory(source))
            parent_->makeLink(source, name);
        else
            copyAsMapping(source, *parent_, name);
    });
}

} // namespace Core::KELP
