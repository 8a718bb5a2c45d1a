#include "kelp/core/kelp/incoming/package-extraction.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/incoming/link-targets.h"
#include "kelp/core/kelp/incoming/package-links.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/content-validator.h"
#include "kelp/core/kelp/validator/header/header-checks.h"
#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include <algorithm>
#include <unordered_set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCategory;
using Common::ErrorCode;
using Common::Rpm::ExtractFileIterator;
using Validator::ContentRule;

constexpr const char *badContent = "package content validation failed";
constexpr fs::perms ownerAccess = fs::perms::owner_read | fs::perms::owner_write;

} // namespace

/// One package on its way.
struct PackageExtraction::Run {
    const ExtractFileIterator &content;
    const Validator::RpmMeta &meta;
    Validator::ContentValidator &validator;
    const Steps &steps;
    PackageLinks links;
    std::unordered_set<std::string> namedLinks = {}; ///< Those of which the header's judge said it already.
};

PackageExtraction::PackageExtraction(const fs::path &destination, const fs::path &versionDirectory,
                                     std::vector<Mapping> mappings, Failure failure) :
    staging_(destination),
    versionDirectory_(versionDirectory.empty() ? staging_.path() : versionDirectory),
    mappings_(std::move(mappings)),
    failure_(failure) {}

std::string PackageExtraction::run(const ExtractFileIterator &package, const Judges &judges,
                                   const Steps &steps) {
    const Validator::RpmMeta meta(package);
    Validator::ContentValidator validator(judges.config, meta, judges.content);
    Run run{package, meta, validator, steps, PackageLinks(staging_, versionDirectory_)};
    try {
        hasFailed(Validator::RpmMetaChecker(judges.config, meta, judges.header).validateMeta(),
                  "package meta validation failed");
        judge(run);
    } catch (...) {
        // What was unpacked by then stays, with no more than its permissions.
        staging_.applyFilePermissions();
        throw;
    }
    staging_.applyFilePermissions();
    return firstFailure_;
}

void PackageExtraction::judge(Run &run) {
    run.validator.setInstallRoot(staging_.path());
    run.validator.setPathMappings(mappings_);
    run.content.forEach([&](const Entry &entry) {
        if (run.steps.beforeEntry)
            run.steps.beforeEntry();
        extractEntry(entry, run);
        return false;
    });
    judgeLinks(run);
    hasFailed(run.validator.finishContent(), badContent);
}

void PackageExtraction::extractEntry(const Entry &entry, Run &run) {
    // The mapping drops slashes that stand behind a row's target, so that the package's own words count.
    const bool isPlain = entry.path.find("//") == std::string::npos && entry.path.starts_with('/');
    const fs::path path = packagePathOf(entry.path, mappings_);
    if (!isPlain || !StagingDirectory::isPossible(path))
        refuse(ContentRule::ImpossiblePath, entry.path, run);
    else if (std::holds_alternative<Common::Rpm::Directory>(entry.kind))
        extractDirectory(entry, path, run);
    else if (std::holds_alternative<Common::Rpm::PackedFile>(entry.kind))
        extractFile(entry, path, run);
    else if (std::holds_alternative<Common::Rpm::Symlink>(entry.kind))
        extractSymlink(entry, path, run);
    else
        extractHardlink(entry, path, run);
}

void PackageExtraction::extractDirectory(const Entry &entry, const fs::path &path, Run &run) {
    const fs::perms permissions = std::get<Common::Rpm::Directory>(entry.kind).permissions;
    if (make(entry, run, [&] { staging_.makeDirectory(path, permissions); }))
        judgeFile(entry.path, path, run);
}

void PackageExtraction::extractFile(const Entry &entry, const fs::path &path, Run &run) {
    // Ahead of the file: a package without a developer's signature leaves no content on the disk.
    if (run.steps.beforeFile)
        run.steps.beforeFile();
    FileDescriptor file;
    if (make(entry, run, [&] { file = staging_.createFile(path); }))
        writeFile(entry, path, std::move(file), run);
}

void PackageExtraction::writeFile(const Entry &entry, const fs::path &path, FileDescriptor file, Run &run) {
    const auto &content = std::get<Common::Rpm::PackedFile>(entry.kind);
    content.writeTo(file.get(), staging_.realPath(path));
    const fs::perms whileJudged = content.permissions | ownerAccess;
    setPermissions(file, whileJudged, path);
    const bool failed =
        hasFailed(run.validator.validateFile(entry.path, staging_.realPath(path)), badContent);
    // Further names of the file, which are judged later, must not be hidden by what this one is given.
    if ((content.permissions & fs::perms::owner_read) == fs::perms::none)
        staging_.hideLater(path, content.permissions);
    else if (content.permissions != whileJudged)
        setPermissions(file, content.permissions, path);
    // A file that did not pass gets no signature.
    if (!failed && run.steps.afterFile)
        run.steps.afterFile(entry, file);
    // Some filesystems say only now that there was no room.
    file.close();
}

void PackageExtraction::extractSymlink(const Entry &entry, const fs::path &path, Run &run) {
    if (isMappingSource(path))
        return refuse(ContentRule::LinkInsteadOfDirectory, entry.path, run);
    if (!make(entry, run, [&] { staging_.createSymlink(targetOf(entry), path); }))
        return;
    run.links.add(entry.path, path);
    const std::string target = std::get<Common::Rpm::Symlink>(entry.kind).target;
    if (!Validator::leadsIntoPackage(run.meta, entry.path, target))
        run.namedLinks.insert(entry.path);
}

void PackageExtraction::extractHardlink(const Entry &entry, const fs::path &path, Run &run) {
    const fs::path target = packagePathOf(std::get<Common::Rpm::HardLink>(entry.kind).target, mappings_);
    // Judged under this name too: what a file may be depends on where it lies.
    if (make(entry, run, [&] { staging_.createHardlink(target, path); }))
        judgeFile(entry.path, path, run);
}

void PackageExtraction::judgeLinks(Run &run) {
    const auto judgeName = [&](const std::string &name, const fs::path &path) { judgeFile(name, path, run); };
    const auto refuseName = [&](ContentRule reason, const std::string &name) {
        if (run.namedLinks.contains(name))
            // The header's judge has told of it already, once is enough; the verdict stands all the same.
            hasFailed(true, badContent);
        else
            refuse(reason, name, run);
    };
    run.links.judge(judgeName, refuseName);
}

void PackageExtraction::judgeFile(const std::string &name, const fs::path &path, Run &run) {
    hasFailed(run.validator.validateFile(name, staging_.realPath(path)), badContent);
}

void PackageExtraction::refuse(ContentRule reason, const std::string &name, Run &run) {
    hasFailed(run.validator.report(reason, name), badContent);
}

/// Makes what the entry is. False when its place is taken: then the package has failed.
template<class Make>
bool PackageExtraction::make(const Entry &entry, Run &run, const Make &make) {
    try {
        make();
        return true;
    } catch (const Error &error) {
        if (error.code() != ErrorCategory::make(ErrorCode::BadPackageContent))
            // The system's failures are no verdict on the package.
            throw;
        refuse(ContentRule::PlaceTaken, entry.path, run);
        return false;
    }
}

bool PackageExtraction::hasFailed(bool verdict, const char *text) {
    if (verdict && failure_ == Failure::Ends)
        throw Error(ErrorCode::BadPackageContent, text);
    if (verdict && firstFailure_.empty())
        firstFailure_ = text;
    return verdict;
}

/// Whether what is published from the tree lies below the path: through a link there, all that it leads to
/// would be published.
bool PackageExtraction::isMappingSource(const fs::path &path) const {
    return std::ranges::any_of(mappings_, [&](const Mapping &mapping) {
        return (mapping.source() + '/').starts_with(path.string() + '/');
    });
}

fs::path PackageExtraction::targetOf(const Entry &link) const {
    fs::path target = std::get<Common::Rpm::Symlink>(link.kind).target;
    // The links of the machine on which this runs say nothing about the package's.
    if (target.native().starts_with('.'))
        target = (fs::path(link.path).parent_path() / target).lexically_normal();
    return resolveLink(link.path, target, {}, versionDirectory_,
                       [this](const fs::path &system) { return packagePathOf(system, mappings_); })
        .second;
}

} // namespace Core::KELP
