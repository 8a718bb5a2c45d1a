#include "kelp/core/kelp/validator/header/header-checks.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <sys/stat.h>

#include <algorithm>

namespace Validator {

namespace {

constexpr unsigned specialBits = S_ISUID | S_ISGID | S_ISVTX;
constexpr unsigned foreignWriteBits = S_IWGRP | S_IWOTH;

constexpr std::string_view forbiddenEndings[] = {".git", ".svn", ".hg", ".bzr", ".cvs", ".DS_Store", ".swp"};

enum class Ends { Here, InPackageName };

struct LibraryDirectory {
    std::string_view beginning;
    Ends ends;
};

/// Where a package may have executable files that are libraries.
constexpr LibraryDirectory libraryDirectories[] = {
    {"/usr/lib/3rdparty/", Ends::InPackageName},
    {"/usr/share/", Ends::InPackageName},
    {"/usr/lib/qt5/qml/", Ends::Here},
    {"/usr/lib64/qt5/qml/", Ends::Here},
    {"/usr/lib/connman/plugins-vpn/", Ends::Here},
    {"/usr/lib64/connman/plugins-vpn/", Ends::Here},
    {"/opt/extension/p11-kit-modules/", Ends::InPackageName},
    {"/opt/extension/qca-plugins/", Ends::InPackageName},
};

bool isBelow(std::string_view path, const LibraryDirectory &directory, std::string_view name) {
    return directory.ends == Ends::Here ? path.starts_with(directory.beginning)
                                        : beginsWith(path, {directory.beginning, name, "/"});
}

bool mayBeExecutable(std::string_view path, std::string_view name) {
    if (beginsWith(path, {"/usr/bin/", name}) || beginsWith(path, {"/usr/libexec/", name, "/"}))
        return true;
    return path.find(".so") != std::string_view::npos &&
           std::ranges::any_of(libraryDirectories, [&](const LibraryDirectory &directory) {
               return isBelow(path, directory, name);
           });
}

void checkWritable(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & foreignWriteBits) == 0)
        return;
    const PathRule rule = check.config.name() == "auth" ? PathRule::TolerablyWritable : PathRule::Writable;
    check.logger.log(rule, {file.path, S_ISDIR(file.mode) ? "directory" : "file"});
}

void checkRegularFile(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & specialBits) != 0)
        check.logger.log(PathRule::SpecialBits, {file.path});
    if ((file.mode & S_IXUSR) != 0 && !mayBeExecutable(file.path, check.meta.name()))
        check.logger.log(PathRule::NotExecutableHere, {file.path});
    checkWritable(check, file);
    if (file.user != "root")
        check.logger.log(PathRule::UserNotRoot, {file.path});
    if (file.group != "root")
        check.logger.log(PathRule::GroupNotRoot, {file.path});
}

void checkByKind(const HeaderCheck &check, const FileInfo &file) {
    switch (file.mode & S_IFMT) {
    case S_IFDIR:
        return checkWritable(check, file);
    case S_IFREG:
        return checkRegularFile(check, file);
    case S_IFLNK:
        return checkLink(check, file);
    default:
        check.logger.log(PathRule::UnknownKind, {file.path});
    }
}

} // namespace

void checkFile(const HeaderCheck &check, const FileInfo &file) {
    checkByKind(check, file);
    const std::string_view path = file.path;
    if (std::ranges::any_of(forbiddenEndings,
                            [&](std::string_view ending) { return path.ends_with(ending); }))
        check.logger.log(PathRule::ForbiddenEnding, {path});
}

void checkEmptyDirectories(const HeaderCheck &check) {
    for (const FileInfo &file : check.meta.files()) {
        const std::string below = file.path.ends_with('/') ? file.path : file.path + '/';
        if (S_ISDIR(file.mode) && !check.meta.holdsBelow(below))
            check.logger.log(PathRule::EmptyDirectory, {file.path});
    }
}

} // namespace Validator
