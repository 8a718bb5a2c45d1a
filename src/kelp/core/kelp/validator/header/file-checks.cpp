#include "kelp/core/kelp/validator/header/header-checks.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <sys/stat.h>

#include <algorithm>

namespace Validator {

namespace {

/// Files are root's: a program with the first of these would have root's rights, whoever starts it.
constexpr unsigned specialBits = S_ISUID | S_ISGID | S_ISVTX;
/// What others may write, another application could change under this one.
constexpr unsigned foreignWriteBits = S_IWGRP | S_IWOTH;

/// Held against the ends of whole paths: of a directory ".git" the entry of its own is found, and not what
/// lies in it.
constexpr std::string_view forbiddenEndings[] = {".git", ".svn", ".hg", ".bzr", ".cvs", ".DS_Store", ".swp"};

/// Whether libraries of all packages lie side by side in a directory, or each package has one of its own.
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
    // No slash after the name in /usr/bin: programs of background tasks are called NAME.SUFFIX.
    if (beginsWith(path, {"/usr/bin/", name}) || beginsWith(path, {"/usr/libexec/", name, "/"}))
        return true;
    // Anywhere in the path, as versions stand after: "libnotes.so.1.2".
    return path.find(".so") != std::string_view::npos &&
           std::ranges::any_of(libraryDirectories, [&](const LibraryDirectory &directory) {
               return isBelow(path, directory, name);
           });
}

void checkWritable(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & foreignWriteBits) == 0)
        return;
    // A profile's name stands for what its lists cannot say; see small-profiles.cpp.
    const PathRule rule = check.config.name() == "auth" ? PathRule::TolerablyWritable : PathRule::Writable;
    check.logger.log(rule, {file.path, S_ISDIR(file.mode) ? "directory" : "file"});
}

void checkRegularFile(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & specialBits) != 0)
        check.logger.log(PathRule::SpecialBits, {file.path});
    // The owner's bit, by which the checker of programs picks its files as well: what is refused nowhere here
    // is looked into there.
    if ((file.mode & S_IXUSR) != 0 && !mayBeExecutable(file.path, check.meta.name()))
        check.logger.log(PathRule::NotExecutableHere, {file.path});
    checkWritable(check, file);
    // By name, as the header has it: which numbers the names get is a matter of the device.
    if (file.user != "root")
        check.logger.log(PathRule::UserNotRoot, {file.path});
    if (file.group != "root")
        check.logger.log(PathRule::GroupNotRoot, {file.path});
}

void checkByKind(const HeaderCheck &check, const FileInfo &file) {
    switch (file.mode & S_IFMT) {
    // The other bits and the owners of directories and links are not asked for: directories are made anew
    // with their permissions alone, and links have none.
    case S_IFDIR:
        return checkWritable(check, file);
    case S_IFREG:
        return checkRegularFile(check, file);
    case S_IFLNK:
        return checkLink(check, file);
    default:
        // A device, a pipe or a socket. The text is about attributes; texts and ids of findings do not
        // change.
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
        // With the slash, lest "/a/bc" counts as something in "/a/b".
        const std::string below = file.path.ends_with('/') ? file.path : file.path + '/';
        if (S_ISDIR(file.mode) && !check.meta.holdsBelow(below))
            check.logger.log(PathRule::EmptyDirectory, {file.path});
    }
}

void appendFileRules(Rules &rules) {
    appendRules(rules, "extension", "forbidden", forbiddenEndings, "*");
    appendRules(rules, "path", "executable", std::vector{"/usr/bin/ID*", "/usr/libexec/ID/*"});
    for (const auto &[beginning, ends] : libraryDirectories)
        rules.push_back(
            {"path", "executable", std::string(beginning) + (ends == Ends::Here ? "*.so*" : "ID/*.so*")});
}

} // namespace Validator
