#include "kelp/core/kelp/incoming/package-extraction.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/incoming/link-targets.h"
#include "kelp/core/kelp/incoming/symbolic-links.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/content-validator.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"
#include "kelp/core/kelp/validator/header/header-checks.h"
#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCategory;
using Common::ErrorCode;
using Common::Rpm::ExtractFileIterator;
using Validator::ContentRule;

constexpr const char *badHeader = "package meta validation failed";
constexpr const char *badContent = "package content validation failed";
constexpr fs::perms ownerAccess = fs::perms::owner_read | fs::perms::owner_write;

[[noreturn]] void raiseTooLarge(const std::string &reason) {
    throw Error(ErrorCode::Filesystem, "Couldn't unpack package: " + reason);
}

} // namespace

/// One judge at work on one package.
struct PackageExtraction::Seat {
    Seat(const PackageJudge &its, const Validator::RpmMeta &meta) :
        judge(its), validator(its.config, meta, its.content, its.mostOfId) {}

    /// Whether an error refuses the package.
    bool isStrict() const { return judge.config->validationEnabled(); }

    const PackageJudge &judge;
    Validator::ContentValidator validator;
    std::string firstFailure = {};
};

/// The state of one run.
struct PackageExtraction::Run {
    const ExtractFileIterator &content;
    const Validator::RpmMeta &meta;
    std::vector<Seat> seats;
    const Steps &steps;
    Conveyance &conveyance;
    SymbolicLinks links;
    std::unordered_set<std::string> namedLinks = {}; ///< Links that the header's judge has reported already.

    void work() const {
        if (steps.duringWork)
            steps.duringWork();
    }
};

PackageExtraction::PackageExtraction(const fs::path &destination, const fs::path &versionDirectory,
                                     std::vector<Mapping> mappings, Failure failure,
                                     std::optional<std::uint64_t> mostUnpacked) :
    staging_(destination),
    versionDirectory_(versionDirectory.empty() ? staging_.path() : versionDirectory),
    mappings_(std::move(mappings)),
    failure_(failure),
    mostUnpacked_(mostUnpacked) {}

std::vector<std::string> PackageExtraction::run(const ExtractFileIterator &package,
                                                const std::vector<PackageJudge> &judges, const Steps &steps,
                                                Conveyance &conveyance) {
    const Validator::RpmMeta meta(package);
    Run run{package, meta, {}, steps, conveyance, SymbolicLinks(staging_, versionDirectory_)};
    for (const PackageJudge &judge : judges)
        run.seats.emplace_back(judge, meta);
    try {
        ask(run, badHeader, [&](const Seat &seat) {
            return Validator::RpmMetaChecker(seat.judge.config, meta, seat.judge.header, seat.judge.mostOfId)
                .validateMeta();
        });
        requireRoom(package);
        // A package that is refused for hundreds of thousands of directories is not unpacked for more
        // findings.
        if (!isRefused(run) || !Validator::hasTooManyDirectories(meta))
            judge(run);
    } catch (...) {
        // Files unpacked by then stay, with just their own permissions.
        staging_.applyFilePermissions();
        throw;
    }
    staging_.applyFilePermissions();
    std::vector<std::string> failures;
    for (Seat &seat : run.seats)
        failures.push_back(std::move(seat.firstFailure));
    return failures;
}

/// By all judges, if there are any.
bool PackageExtraction::isRefused(const Run &run) {
    const auto isRefusal = [](const Seat &seat) { return !seat.firstFailure.empty(); };
    return !run.seats.empty() && std::ranges::all_of(run.seats, isRefusal);
}

/// By the header's size, since a full disk stops other programs too. No more than that is unpacked.
void PackageExtraction::requireRoom(const ExtractFileIterator &package) const {
    const std::uint64_t size = package.contentSize();
    if (mostUnpacked_ && size > *mostUnpacked_)
        raiseTooLarge("its files take " + std::to_string(size) + " bytes");
    if (size > Common::freeSpace(staging_.path()))
        throw Error(ErrorCode::Filesystem,
                    "Couldn't unpack package: no room for " + std::to_string(size) + " bytes", ENOSPC);
}

void PackageExtraction::take(std::size_t bytes) {
    unpacked_ += bytes;
    if (mostUnpacked_ && unpacked_ > *mostUnpacked_)
        raiseTooLarge("its files take more than " + std::to_string(*mostUnpacked_) + " bytes");
}

void PackageExtraction::judge(Run &run) {
    for (Seat &seat : run.seats) {
        seat.validator.setInstallRoot(staging_.path());
        seat.validator.setPathMappings(mappings_);
    }
    const auto unpackAll = [&](const Conveyance::Judge &next) {
        run.content.forEach([&](const Entry &entry) {
            next(unpack(entry, run));
            return false;
        });
    };
    const auto judgeOne = [&](UnpackedEntry unpacked) {
        run.work();
        if (run.steps.beforeVerdict)
            run.steps.beforeVerdict();
        judgeEntry(std::move(unpacked), run);
    };
    run.conveyance.run(unpackAll, judgeOne);
    judgeLinks(run);
    ask(run, badContent, [](Seat &seat) { return seat.validator.finishContent(); });
}

/// Of all that verdicts look at, touches only the entry's own place.
UnpackedEntry PackageExtraction::unpack(const Entry &entry, Run &run) {
    // Checks the package's own text, since the mapping drops slashes after a row's target: a file with a
    // slash at the end would take the place of a row's directory.
    const bool mayEndInSlash = std::holds_alternative<Common::Rpm::Directory>(entry.kind);
    const bool isPlain = entry.path.find("//") == std::string::npos && entry.path.starts_with('/') &&
                         (mayEndInSlash || !entry.path.ends_with('/'));
    UnpackedEntry unpacked{entry, packagePathOf(entry.path, mappings_)};
    const auto *link = std::get_if<Common::Rpm::Symlink>(&entry.kind);
    if (!isPlain || !StagingDirectory::isPossible(unpacked.path) ||
        (link && !StagingDirectory::isPossibleTarget(link->target))) {
        unpacked.refusal = ContentRule::ImpossiblePath;
        return unpacked;
    }
    if (link && isMappingSource(unpacked.path)) {
        unpacked.refusal = ContentRule::LinkInsteadOfDirectory;
        return unpacked;
    }
    try {
        unpacked.file = make(entry, unpacked.path, run);
    } catch (const Error &error) {
        if (error.code() != ErrorCategory::make(ErrorCode::BadPackageContent))
            // A failure of the system is no verdict on the package.
            throw;
        unpacked.refusal = ContentRule::PlaceTaken;
    }
    return unpacked;
}

/// Makes the entry. Raises ErrorCode::BadPackageContent when its place is taken.
FileDescriptor PackageExtraction::make(const Entry &entry, const fs::path &path, Run &run) {
    if (const auto *directory = std::get_if<Common::Rpm::Directory>(&entry.kind)) {
        staging_.makeDirectory(path, directory->permissions);
    } else if (std::holds_alternative<Common::Rpm::PackedFile>(entry.kind)) {
        // Before the file is made: a package without a developer's signature leaves no content on disk.
        if (run.steps.beforeFile)
            run.steps.beforeFile();
        return makeFile(entry, path, run);
    } else if (const auto *link = std::get_if<Common::Rpm::HardLink>(&entry.kind)) {
        staging_.createHardlink(packagePathOf(link->target, mappings_), path);
    } else {
        staging_.createSymlink(targetOf(entry), path);
    }
    return FileDescriptor();
}

FileDescriptor PackageExtraction::makeFile(const Entry &entry, const fs::path &path, Run &run) {
    const auto &content = std::get<Common::Rpm::PackedFile>(entry.kind);
    FileDescriptor file = staging_.createFile(path);
    const fs::path realPath = staging_.realPath(path);
    content.read([&](Common::Rpm::PackedFile::Piece piece) {
        run.work();
        take(piece.size);
        run.conveyance.write(file.get(), std::move(piece), realPath);
    });
    setPermissions(file, content.permissions | ownerAccess, path);
    return file;
}

void PackageExtraction::judgeEntry(UnpackedEntry unpacked, Run &run) {
    if (unpacked.refusal)
        refuse(*unpacked.refusal, unpacked.entry.path, run);
    else if (std::holds_alternative<Common::Rpm::PackedFile>(unpacked.entry.kind))
        judgeContent(std::move(unpacked), run);
    else if (std::holds_alternative<Common::Rpm::Symlink>(unpacked.entry.kind))
        rememberLink(unpacked, run);
    else
        // A hard link is judged under this name too: the rules for a file depend on its place.
        judgeFile(unpacked.entry.path, unpacked.path, run);
}

void PackageExtraction::judgeContent(UnpackedEntry file, Run &run) {
    const fs::perms permissions = std::get<Common::Rpm::PackedFile>(file.entry.kind).permissions;
    const bool failed = judgeFile(file.entry.path, file.path, run);
    // The permissions must not hide further names of the file, which are judged later.
    if ((permissions & fs::perms::owner_read) == fs::perms::none)
        staging_.hideLater(file.path, permissions);
    else if (permissions != (permissions | ownerAccess))
        setPermissions(file.file, permissions, file.path);
    // A file that did not pass gets no signature.
    if (!failed && run.steps.afterFile)
        run.steps.afterFile(file.entry, file.file);
    // Some filesystems report a full disk only at the close.
    file.file.close();
}

void PackageExtraction::rememberLink(const UnpackedEntry &link, Run &run) {
    run.links.add(link.entry.path, link.path);
    const std::string target = std::get<Common::Rpm::Symlink>(link.entry.kind).target;
    if (!Validator::leadsIntoPackage(run.meta, link.entry.path, target))
        run.namedLinks.insert(link.entry.path);
}

void PackageExtraction::judgeLinks(Run &run) {
    const auto judgeName = [&](const std::string &name, const fs::path &path) { judgeFile(name, path, run); };
    const auto refuseName = [&](ContentRule reason, const std::string &name) {
        refuseLink(reason, name, run);
    };
    run.links.judge(judgeName, refuseName);
}

void PackageExtraction::refuseLink(ContentRule reason, const std::string &name, Run &run) {
    ask(run, badContent, [&](Seat &seat) {
        // If the header's judge has reported it already, it is not reported again, but still counts. If that
        // finding was forgiven, this one refuses the package.
        return (seat.isStrict() && run.namedLinks.contains(name)) || seat.validator.report(reason, name);
    });
}

bool PackageExtraction::judgeFile(const std::string &name, const fs::path &path, Run &run) {
    // A link may bring in twenty thousand names.
    run.work();
    const fs::path realPath = staging_.realPath(path);
    const Validator::MappedFile::Sharing sharing(realPath);
    return ask(run, badContent, [&](Seat &seat) { return seat.validator.validateFile(name, realPath); });
}

void PackageExtraction::refuse(ContentRule reason, const std::string &name, Run &run) {
    if (run.seats.empty())
        throw Error(ErrorCode::BadPackageContent, badContent);
    ask(run, badContent, [&](Seat &seat) { return seat.validator.report(reason, name); });
}

/// Asks every judge, also after a refusal. Returns whether the package failed with any.
bool PackageExtraction::ask(Run &run, const char *text, const std::function<bool(Seat &)> &verdict) {
    bool failed = false;
    for (Seat &seat : run.seats) {
        if (seat.judge.begins)
            seat.judge.begins();
        failed = hasFailed(verdict(seat), text, seat) || failed;
    }
    return failed;
}

bool PackageExtraction::hasFailed(bool verdict, const char *text, Seat &seat) const {
    if (verdict && failure_ == Failure::Ends)
        throw Error(ErrorCode::BadPackageContent, text);
    if (verdict && seat.firstFailure.empty())
        seat.firstFailure = text;
    return verdict;
}

/// Whether files below the path are published: a link there would publish all that it leads to.
bool PackageExtraction::isMappingSource(const fs::path &path) const {
    return std::ranges::any_of(mappings_, [&](const Mapping &mapping) {
        return (mapping.source() + '/').starts_with(path.string() + '/');
    });
}

fs::path PackageExtraction::targetOf(const Entry &link) const {
    fs::path target = std::get<Common::Rpm::Symlink>(link.kind).target;
    // Ignores links of the machine on which this runs: they are not the package's.
    if (target.native().starts_with('.'))
        target = (fs::path(link.path).parent_path() / target).lexically_normal();
    return resolveLink(link.path, target, {}, versionDirectory_,
                       [this](const fs::path &system) { return packagePathOf(system, mappings_); })
        .second;
}

} // namespace Core::KELP
