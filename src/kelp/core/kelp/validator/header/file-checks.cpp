#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/header/header-checks.h"

#include <sys/stat.h>

#include <algorithm>

namespace Validator {

namespace {

/// Files are root's: a program with the first bit would run with root's rights for every user.
constexpr unsigned specialBits = S_ISUID | S_ISGID | S_ISVTX;
/// Another application could change a file that others may write.
constexpr unsigned foreignWriteBits = S_IWGRP | S_IWOTH;

/// Compared with the ends of whole paths: this finds the entry of a directory ".git", and not its content.
constexpr std::string_view forbiddenEndings[] = {".git", ".svn", ".hg", ".bzr", ".cvs", ".DS_Store", ".swp"};

/// Whether a directory is for libraries of all packages, or each package has one of its own.
enum class Ends { Here, InPackageName };

struct LibraryDirectory {
    std::string_view beginning;
    Ends ends;
};

/// The directories in which a package may have executable libraries.
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
    // Anywhere in the path, since versions may follow: "libnotes.so.1.2".
    return path.find(".so") != std::string_view::npos &&
           std::ranges::any_of(libraryDirectories, [&](const LibraryDirectory &directory) {
               return isBelow(path, directory, name);
           });
}

void checkWritable(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & foreignWriteBits) == 0)
        return;
    // By the profile's name: its lists cannot express this (config-regular.cpp).
    const PathRule rule = check.config.name() == "auth" ? PathRule::TolerablyWritable : PathRule::Writable;
    check.logger.log(rule, {file.path, S_ISDIR(file.mode) ? "directory" : "file"});
}

void checkRegularFile(const HeaderCheck &check, const FileInfo &file) {
    if ((file.mode & specialBits) != 0)
        check.logger.log(PathRule::SpecialBits, {file.path});
    // The owner's bit, like the checker of programs: that reads each executable file that passes here.
    if ((file.mode & S_IXUSR) != 0 && !mayBeExecutable(file.path, check.meta.name()))
        check.logger.log(PathRule::NotExecutableHere, {file.path});
    checkWritable(check, file);
    // By the header's name: the device decides the number.
    if (file.user != "root")
        check.logger.log(PathRule::UserNotRoot, {file.path});
    if (file.group != "root")
        check.logger.log(PathRule::GroupNotRoot, {file.path});
}

void checkByKind(const HeaderCheck &check, const FileInfo &file) {
    switch (file.mode & S_IFMT) {
    // Other bits and the owners of directories and links do not matter: directories are made anew with just
    // their permissions, and links have none.
    case S_IFDIR:
        return checkWritable(check, file);
    case S_IFREG:
        return checkRegularFile(check, file);
    case S_IFLNK:
        return checkLink(check, file);
    default:
        // A device, a pipe or a socket. The text wrongly speaks of attributes, but texts and ids of findings
        // never change.
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
        // With the slash: "/a/bc" must not count as an entry in "/a/b".
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

namespace {

constexpr std::string_view upward = "../";

/// The path up to, not including, its last slash; all of it when it has none.
std::string_view parentOf(std::string_view path) {
    return path.substr(0, path.rfind('/'));
}

/// The path in the package to which a link at `path` leads. Takes the leading "../" off a relative target. By
/// the text alone: a link of the judging machine must not change a verdict.
std::string resolve(std::string_view path, std::string_view &target) {
    std::string_view directory = parentOf(path);
    if (target.empty())
        return std::string(directory);
    if (target.starts_with('/'))
        return std::string(target);
    // Surplus ones end at the root, as for the kernel. A later ".." could only match an entry with such a
    // path, which is never unpacked.
    for (; target.starts_with(upward); target.remove_prefix(upward.size()))
        directory = parentOf(directory);
    std::string resolved(directory);
    return resolved.append(1, '/').append(target);
}

} // namespace

bool leadsIntoPackage(const RpmMeta &meta, std::string_view path, std::string_view target) {
    return meta.holds(resolve(path, target));
}

void checkLink(const HeaderCheck &check, const FileInfo &link) {
    // A note at every link: makers may not expect that it is judged by its target.
    check.logger.log(PathRule::SymbolicLink, {link.path});
    std::string_view target = link.linkTarget;
    // Takes the leading "../" off the target; as always the message names only the rest.
    if (!check.meta.holds(resolve(link.path, target)))
        check.logger.log(PathRule::ForbiddenLinkTarget, {link.path, target});
}

} // namespace Validator
