#include "kelp/core/kelp/incoming/package-extraction.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
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
    Seat(const ValidationSetup &its, const Validator::RpmMeta &meta) :
        judge(its), validator(its.config, meta, its.content, its.mostOfId) {}

    /// Whether an error refuses the package.
    bool isStrict() const { return judge.config->validationEnabled(); }

    const ValidationSetup &judge;
    Validator::ContentValidator validator;
    std::string firstFailure = {};
};

PackageExtraction::PackageExtraction(const ExtractFileIterator &package, Task task,
                                     const std::vector<ValidationSetup> &judges, Steps steps,
                                     UnpackPipeline &pipeline) :
    package_(package),
    meta_(package),
    task_(std::move(task)),
    steps_(std::move(steps)),
    pipeline_(pipeline),
    staging_(task_.destination),
    links_(staging_, linksLeadTo()),
    claimed_(package.contentSize()) {
    for (const ValidationSetup &judge : judges)
        seats_.emplace_back(judge, meta_);
}

PackageExtraction::~PackageExtraction() = default;

const fs::path &PackageExtraction::linksLeadTo() const {
    return task_.versionDirectory.empty() ? staging_.path() : task_.versionDirectory;
}

void PackageExtraction::work() const {
    if (steps_.duringWork)
        steps_.duringWork();
}

std::vector<std::string> PackageExtraction::run() {
    try {
        ask(badHeader, [&](const Seat &seat) {
            return Validator::RpmMetaChecker(seat.judge.config, meta_, seat.judge.header, seat.judge.mostOfId)
                .validateMeta();
        });
        requireRoom();
        // A package that is refused for hundreds of thousands of directories is not unpacked for more
        // findings.
        if (!isRefused() || !Validator::hasTooManyDirectories(meta_))
            judge();
    } catch (...) {
        // Files unpacked by then stay, with just their own permissions.
        staging_.applyFilePermissions();
        throw;
    }
    staging_.applyFilePermissions();
    std::vector<std::string> failures;
    for (Seat &seat : seats_)
        failures.push_back(std::move(seat.firstFailure));
    return failures;
}

/// By all judges, if there are any.
bool PackageExtraction::isRefused() const {
    const auto isRefusal = [](const Seat &seat) { return !seat.firstFailure.empty(); };
    return !seats_.empty() && std::ranges::all_of(seats_, isRefusal);
}

/// By the header's size, since a full disk stops other programs too. No more than that is unpacked.
void PackageExtraction::requireRoom() const {
    if (task_.mostUnpacked && claimed_ > *task_.mostUnpacked)
        raiseTooLarge("its files take " + std::to_string(claimed_) + " bytes");
    if (claimed_ > Common::freeSpace(staging_.path()))
        throw Error(ErrorCode::Filesystem,
                    "Couldn't unpack package: no room for " + std::to_string(claimed_) + " bytes", ENOSPC);
}

void PackageExtraction::take(std::size_t bytes) {
    unpacked_ += bytes;
    if (unpacked_ > claimed_)
        raiseTooLarge("its files take more than its header says");
}

void PackageExtraction::judge() {
    for (Seat &seat : seats_) {
        seat.validator.setInstallRoot(staging_.path());
        seat.validator.setPathMappings(task_.mappings);
    }
    const auto unpackAll = [&](const UnpackPipeline::Judge &next) {
        package_.forEach([&](const Entry &entry) {
            next(unpack(entry));
            return false;
        });
    };
    const auto judgeOne = [&](UnpackedEntry unpacked) {
        work();
        if (steps_.beforeVerdict)
            steps_.beforeVerdict();
        judgeEntry(std::move(unpacked));
    };
    pipeline_.run(unpackAll, judgeOne);
    judgeLinks();
    ask(badContent, [](Seat &seat) { return seat.validator.finishContent(); });
}

/// Of all that verdicts look at, touches only the entry's own place.
UnpackedEntry PackageExtraction::unpack(const Entry &entry) {
    // Checks the package's own text, since the mapping drops slashes after a row's target: a file with a
    // slash at the end would take the place of a row's directory.
    const bool mayEndInSlash = std::holds_alternative<Common::Rpm::Directory>(entry.kind);
    const bool isPlain = entry.path.find("//") == std::string::npos && entry.path.starts_with('/') &&
                         (mayEndInSlash || !entry.path.ends_with('/'));
    UnpackedEntry unpacked{entry, packagePathOf(entry.path, task_.mappings)};
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
        unpacked.file = make(entry, unpacked.path);
    } catch (const Error &error) {
        if (error.code() != ErrorCategory::make(ErrorCode::BadPackageContent))
            // A failure of the system is no verdict on the package.
            throw;
        unpacked.refusal = ContentRule::PlaceTaken;
    }
    return unpacked;
}

/// Makes the entry. Raises ErrorCode::BadPackageContent when its place is taken.
FileDescriptor PackageExtraction::make(const Entry &entry, const fs::path &path) {
    if (const auto *directory = std::get_if<Common::Rpm::Directory>(&entry.kind)) {
        staging_.makeDirectory(path, directory->permissions);
    } else if (std::holds_alternative<Common::Rpm::PackedFile>(entry.kind)) {
        // Before the file is made: a package without a developer's signature leaves no content on disk.
        if (steps_.beforeFile)
            steps_.beforeFile();
        return makeFile(entry, path);
    } else if (const auto *link = std::get_if<Common::Rpm::HardLink>(&entry.kind)) {
        staging_.createHardlink(packagePathOf(link->target, task_.mappings), path);
    } else {
        staging_.createSymlink(targetOf(entry), path);
    }
    return FileDescriptor();
}

FileDescriptor PackageExtraction::makeFile(const Entry &entry, const fs::path &path) {
    const auto &content = std::get<Common::Rpm::PackedFile>(entry.kind);
    FileDescriptor file = staging_.createFile(path);
    const fs::path realPath = staging_.realPath(path);
    content.read([&](Common::Rpm::PackedFile::Piece piece) {
        work();
        take(piece.size);
        pipeline_.write(file.get(), std::move(piece), realPath);
    });
    setPermissions(file, content.permissions | ownerAccess, realPath);
    return file;
}

void PackageExtraction::judgeEntry(UnpackedEntry unpacked) {
    if (unpacked.refusal)
        refuse(*unpacked.refusal, unpacked.entry.path);
    else if (std::holds_alternative<Common::Rpm::PackedFile>(unpacked.entry.kind))
        judgeContent(std::move(unpacked));
    else if (std::holds_alternative<Common::Rpm::Symlink>(unpacked.entry.kind))
        rememberLink(unpacked);
    else
        // A hard link is judged under this name too: the rules for a file depend on its place.
        judgeFile(unpacked.entry.path, unpacked.path);
}

void PackageExtraction::judgeContent(UnpackedEntry file) {
    const fs::perms permissions = std::get<Common::Rpm::PackedFile>(file.entry.kind).permissions;
    const bool failed = judgeFile(file.entry.path, file.path);
    // The permissions must not hide further names of the file, which are judged later.
    if ((permissions & fs::perms::owner_read) == fs::perms::none)
        staging_.hideLater(file.path, permissions);
    else if (permissions != (permissions | ownerAccess))
        setPermissions(file.file, permissions, staging_.realPath(file.path));
    // A file that did not pass gets no signature.
    if (!failed && steps_.afterFile)
        steps_.afterFile(file.entry, file.file);
    // Some filesystems report a full disk only at the close.
    file.file.close();
}

void PackageExtraction::rememberLink(const UnpackedEntry &link) {
    links_.add(link.entry.path, link.path);
    const std::string target = std::get<Common::Rpm::Symlink>(link.entry.kind).target;
    if (!Validator::leadsIntoPackage(meta_, link.entry.path, target))
        namedLinks_.insert(link.entry.path);
}

void PackageExtraction::judgeLinks() {
    const auto judgeName = [&](const std::string &name, const fs::path &path) { judgeFile(name, path); };
    const auto refuseName = [&](ContentRule reason, const std::string &name) { refuseLink(reason, name); };
    links_.judge(judgeName, refuseName);
}

void PackageExtraction::refuseLink(ContentRule reason, const std::string &name) {
    ask(badContent, [&](Seat &seat) {
        // If the header's judge has reported it already, it is not reported again, but still counts. If that
        // finding was forgiven, this one refuses the package.
        return (seat.isStrict() && namedLinks_.contains(name)) || seat.validator.report(reason, name);
    });
}

bool PackageExtraction::judgeFile(const std::string &name, const fs::path &path) {
    // A link may bring in twenty thousand names.
    work();
    const fs::path realPath = staging_.realPath(path);
    const Validator::MappedFile::Sharing sharing(realPath);
    return ask(badContent, [&](Seat &seat) { return seat.validator.validateFile(name, realPath); });
}

void PackageExtraction::refuse(ContentRule reason, const std::string &name) {
    if (seats_.empty())
        throw Error(ErrorCode::BadPackageContent, badContent);
    ask(badContent, [&](Seat &seat) { return seat.validator.report(reason, name); });
}

/// Asks every judge, unless a refusal ends the run. Returns whether the package failed with any.
bool PackageExtraction::ask(const char *text, const std::function<bool(Seat &)> &verdict) {
    bool failed = false;
    for (Seat &seat : seats_) {
        if (seat.judge.begins)
            seat.judge.begins();
        if (verdict(seat)) {
            fail(seat, text);
            failed = true;
        }
    }
    return failed;
}

void PackageExtraction::fail(Seat &seat, const char *text) const {
    if (task_.failure == Failure::Ends)
        throw Error(ErrorCode::BadPackageContent, text);
    if (seat.firstFailure.empty())
        seat.firstFailure = text;
}

/// Whether the path is a row's source, or above one: a link there would publish all that it leads to.
bool PackageExtraction::isMappingSource(const fs::path &path) const {
    return std::ranges::any_of(task_.mappings, [&](const Mapping &mapping) {
        return (mapping.source() + '/').starts_with(path.string() + '/');
    });
}

fs::path PackageExtraction::targetOf(const Entry &link) const {
    fs::path target = std::get<Common::Rpm::Symlink>(link.kind).target;
    // Ignores links of the machine on which this runs: they are not the package's.
    if (target.native().starts_with('.'))
        target = (fs::path(link.path).parent_path() / target).lexically_normal();
    return resolveLink(link.path, target, {}, linksLeadTo(),
                       [this](const fs::path &system) { return packagePathOf(system, task_.mappings); })
        .second;
}

} // namespace Core::KELP
