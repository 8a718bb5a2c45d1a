#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/code-points.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <map>
#include <optional>
#include <string>

namespace Validator {

namespace {

constexpr std::string_view versionMarks = "._+~^%{}";
/// Longer texts make reports and directory names unreadable.
constexpr std::size_t longestReadable = 128;

bool isVersionCharacter(char c) {
    return isAlpha(c) || isDigit(c) || versionMarks.find(c) != std::string_view::npos;
}

bool isVersionPart(std::string_view text) {
    return std::ranges::all_of(text, isVersionCharacter) && text.find("..") == std::string_view::npos;
}

struct Call {
    std::string_view word;
    std::string_view argument;
};

/// The parts of "WORD(ARGUMENT)".
std::optional<Call> callIn(std::string_view text) {
    const std::size_t open = text.find('(');
    if (open == 0 || open == std::string_view::npos || text.find(')') != text.size() - 1)
        return std::nullopt;
    return Call{text.substr(0, open), text.substr(open + 1, text.size() - open - 2)};
}

/// The rule on dependencies skips those with certain words. This is the objection to one that only looks like
/// them.
std::optional<HardeningRule> objectionTo(std::string_view dependency) {
    const auto call = callIn(dependency);
    if (dependency.starts_with('/') || (call && (call->word == "rpmlib" || call->word == "rtld")))
        return std::nullopt;
    const bool isCallWithSlash = call && call->word.find('/') == std::string_view::npos &&
                                 call->argument.find('/') != std::string_view::npos;
    // Modules of some languages are named so.
    return isCallWithSlash ? HardeningRule::DependencyWithSlash : HardeningRule::DisguisedDependency;
}

/// The rule on Provides judges the exact spelling.
bool isDisguisedHandler(const Config &config, std::string_view capability) {
    const auto call = callIn(capability);
    return call && call->word == "mimehandler" && isForbiddenMimeType(config, call->argument) &&
           !config.forbiddenMimeTypes().contains(call->argument);
}

void checkVersion(const HeaderCheck &check) {
    const std::string text = check.meta.version() + "-" + check.meta.release();
    if (!isUsableVersion(text))
        check.logger.log(HardeningRule::VersionUnusable, {text});
    else if (text.size() > longestReadable)
        check.logger.log(HardeningRule::VersionLong, {text});
}

/// The dependencies, the MIME types and the version.
void checkWords(const HeaderCheck &check) {
    checkVersion(check);
    for (const std::string &dependency : check.meta.uncheckedRequirements())
        if (const auto objection = objectionTo(dependency))
            check.logger.log(*objection, {dependency});
    for (const std::string &capability : check.meta.provides())
        if (isDisguisedHandler(check.config, capability))
            check.logger.log(HardeningRule::ForbiddenMimeType, {capability});
}

constexpr unsigned specialBits = S_ISUID | S_ISGID | S_ISVTX;
constexpr unsigned othersExecute = S_IXGRP | S_IXOTH;

constexpr std::size_t mostDirectories = 1000;
/// Twice as many as in the most scattered of a thousand honest packages.
constexpr std::size_t mostDirectoriesOfEntry = 4;
constexpr std::ptrdiff_t mostComponents = 64;

/// A directory of the system in which a package has one file, and whose readers read all files.
struct SharedDirectory {
    std::string_view beginning;
    std::string_view ending; ///< Of the package's file, after its name.
    HardeningRule rule;
};

constexpr SharedDirectory sharedDirectories[] = {
    {"/usr/share/applications/", ".desktop", HardeningRule::SecondDesktopFile},
    {"/etc/integrityd/config.d/", ".json", HardeningRule::SecondIntegrityFile},
};

/// Profiles of packages with more of the system's rights.
constexpr std::string_view trustedProfiles[] = {"extended", "mdm", "auth"};

/// Organisations' shared data, each in a directory of its own.
constexpr std::string_view sharedData = "/usr/share/common/";

/// The directories from which files are published, each with its final slash, and whether they are the
/// package's own.
std::map<std::string, bool> publishedDirectories(const std::string &id) {
    std::map<std::string, bool> directories;
    for (const auto &mapping : Core::KELP::buildMappings(id, {}, {}, {}, Core::KELP::Rooted::No))
        directories.emplace(mapping.target(), mapping.ownsDirectory() != 0);
    return directories;
}

/// The checks on one entry of the file list.
class EntryChecks {
public:
    explicit EntryChecks(const HeaderCheck &check) :
        check_(check), published_(publishedDirectories(check.meta.name())) {}

    void run(const FileInfo &file) const {
        checkText(file);
        checkShared(file);
        checkName(file);
        checkCapabilities(file);
        if (S_ISDIR(file.mode))
            checkDirectory(file);
        else if (isPlaceOfDirectory(file.path))
            report(HardeningRule::FileInPlaceOfDirectory, file);
        // Programs are checked by the owner's bit, but another user could still run this one.
        if (S_ISREG(file.mode) && (file.mode & S_IXUSR) == 0 && (file.mode & othersExecute) != 0)
            report(HardeningRule::HalfExecutable, file);
    }

private:
    /// Any organisation's directory counts.
    bool isPlaceOfDirectory(const std::string &path) const {
        return published_.contains(path + '/') ||
               (path.starts_with(sharedData) && path.size() > sharedData.size() &&
                path.find('/', sharedData.size()) == std::string::npos);
    }

    void report(HardeningRule rule, const FileInfo &file) const { check_.logger.log(rule, {file.path}); }

    /// Lists of published files have one path a line.
    void checkText(const FileInfo &file) const {
        if (!isOneLine(file.path) || !isOneLine(file.linkTarget))
            check_.logger.log(ContentRule::ImpossiblePath, {file.path});
    }

    void checkShared(const FileInfo &file) const {
        for (const auto &[beginning, ending, rule] : sharedDirectories) {
            const std::string allowed = std::string(beginning) + check_.meta.name() + std::string(ending);
            const bool isAllowed = file.path == allowed && S_ISREG(file.mode);
            if (file.path.starts_with(beginning) && file.path != beginning && !isAllowed)
                check_.logger.log(rule, {file.path, allowed});
        }
    }

    /// The application of that name could not be installed beside this package.
    void checkName(const FileInfo &file) const {
        std::string_view name = std::string_view(file.path).substr(file.path.rfind('/') + 1);
        const bool isIcon = file.path.starts_with(check_.config.iconsDir());
        if (S_ISDIR(file.mode) || (!isIcon && !file.path.starts_with(check_.config.binDir())))
            return;
        // A program has exactly the name.
        if (isIcon)
            name = name.substr(0, name.rfind('.'));
        if (isReverseDomain(name, 3) && !name.starts_with(check_.meta.name()))
            report(HardeningRule::NameOfAnotherApplication, file);
    }

    void checkCapabilities(const FileInfo &file) const {
        // Build tools write the second for a file without any, if another file has some.
        if (file.capabilities.empty() || file.capabilities == "=")
            return;
        const bool isTolerated =
            std::ranges::find(trustedProfiles, check_.config.name()) != std::end(trustedProfiles);
        check_.logger.log(isTolerated ? HardeningRule::TolerableFileCapabilities
                                      : HardeningRule::FileCapabilities,
                          {file.path, file.capabilities});
    }

    void checkDirectory(const FileInfo &file) const {
        // A build root on a set-gid directory gives the bit to all directories.
        if ((file.mode & specialBits) != 0)
            report(HardeningRule::DirectorySpecialBits, file);
        if (file.user == "root" && file.group == "root")
            return;
        const std::string below = file.path + '/';
        const bool isOwn = std::ranges::any_of(
            published_, [&](const auto &row) { return row.second && below.starts_with(row.first); });
        check_.logger.log(isOwn ? HardeningRule::OwnDirectoryNotRoots : HardeningRule::DirectoryNotRoots,
                          {file.path, file.user + ':' + file.group});
    }

    const HeaderCheck &check_;
    std::map<std::string, bool> published_;
};

bool isTooDeep(const FileInfo &file) {
    return std::ranges::count(file.path, '/') > mostComponents;
}

/// Checked before the unpacking: each directory takes a block of the disk, and time at its removal.
void checkDirectories(const HeaderCheck &check) {
    const auto &files = check.meta.files();
    const auto deep = std::ranges::find_if(files, isTooDeep);
    if (deep != files.end())
        check.logger.log(HardeningRule::TooManyDirectories, {deep->path});
    else if (hasTooManyDirectories(check.meta))
        check.logger.log(HardeningRule::TooManyDirectories, {files.front().path});
}

/// The file list.
void checkPlaces(const HeaderCheck &check) {
    checkDirectories(check);
    const EntryChecks checks(check);
    for (const FileInfo &file : check.meta.files())
        checks.run(file);
}

} // namespace

bool isUsableVersion(std::string_view text) {
    const std::size_t dash = std::min(text.find('-'), text.size());
    return text.size() <= NAME_MAX && isVersionPart(text.substr(0, dash)) &&
           isVersionPart(text.substr(std::min(dash + 1, text.size())));
}

bool hasTooManyDirectories(const RpmMeta &meta) {
    const std::size_t count = meta.impliedDirectories();
    return count > mostDirectories && count > mostDirectoriesOfEntry * meta.files().size();
}

void checkHeaderHardening(const HeaderCheck &check) {
    checkWords(check);
    // Critical as the scriptlets are: all of them run as root, outside the sandbox.
    if (check.meta.hasOtherScripts())
        check.logger.log(HardeningRule::OtherScripts);
    checkPlaces(check);
}

namespace {

constexpr std::string_view usualName = "application/x-rpm";

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool isForbiddenMimeType(const Config &config, std::string_view type) {
    std::string name(trimmed(type));
    std::ranges::transform(name, name.begin(), lower);
    return config.forbiddenMimeTypes().contains(name == olderNameOfRpm ? std::string(usualName) : name);
}

} // namespace Validator
