#include "kelp/core/kelp/package-extraction.h"

#include "kelp/core/common/error.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/resolve-link.h"
#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/content-validator.h"
#include "kelp/core/kelp/validator/rpm-meta-checker.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Validator::ContentValidator;

constexpr const char *badContent = "package content validation failed";

} // namespace

PackageExtraction::PackageExtraction(const fs::path &destination, fs::path versionDirectory,
                                     std::vector<Mapping> mappings, Failure failure) :
    staging_(destination),
    versionDirectory_(std::move(versionDirectory)),
    mappings_(std::move(mappings)),
    failure_(failure) {}

void PackageExtraction::run(const fs::path &package, Validator::Profile profile, const FileSteps &steps) {
    try {
        judge(package, profile, steps);
    } catch (const std::exception &) {
        if (!firstFailure_)
            throw;
    }
    if (firstFailure_)
        throw Error(ErrorCode::BadPackageContent, firstFailure_);
}

void PackageExtraction::judge(const fs::path &package, Validator::Profile profile, const FileSteps &steps) {
    const Common::Rpm::ExtractFileIterator content(package);
    const Validator::RpmMeta meta(content);
    const auto config = std::make_shared<Validator::Config>(profile);
    ContentValidator validator(config, meta);
    validator.setInstallRoot(staging_.path());
    validator.setPathMappings(mappings_);

    hasFailed(Validator::RpmMetaChecker(config, meta).run(), "package meta validation failed");
    walk(content, validator, steps);
    hasFailed(validator.finishContent(), badContent);
}

void PackageExtraction::walk(const Common::Rpm::ExtractFileIterator &content, ContentValidator &validator,
                             const FileSteps &steps) {
    content.forEach([&](const Entry &entry) {
        extractEntry(entry, validator, steps);
        return false;
    });
}

void PackageExtraction::extractEntry(const Entry &entry, ContentValidator &validator,
                                     const FileSteps &steps) {
    if (std::holds_alternative<Common::Rpm::Directory>(entry.kind))
        extractDirectory(entry, validator);
    else if (std::holds_alternative<Common::Rpm::PackedFile>(entry.kind))
        extractFile(entry, validator, steps);
    else if (std::holds_alternative<Common::Rpm::Symlink>(entry.kind))
        extractSymlink(entry);
    else
        extractHardlink(entry);
}

void PackageExtraction::extractDirectory(const Entry &entry, ContentValidator &validator) {
    const fs::path path = packagePath(entry.path);
    staging_.makeDirectory(path, std::get<Common::Rpm::Directory>(entry.kind).permissions);
    hasFailed(validator.validateFile(entry.path, staging_.realPath(path)), badContent);
}

void PackageExtraction::extractFile(const Entry &entry, ContentValidator &validator, const FileSteps &steps) {
    if (steps.before)
        steps.before();
    const auto &content = std::get<Common::Rpm::PackedFile>(entry.kind);
    const fs::path path = packagePath(entry.path);
    const fs::path realPath = staging_.realPath(path);
    FileDescriptor file = staging_.createFile(path);
    content.writeTo(file.get(), realPath);
    setPermissions(file, content.permissions, path);
    const bool failed = hasFailed(validator.validateFile(entry.path, realPath), badContent);
    if (!failed && steps.after)
        steps.after(entry, file);
    file.close();
}

void PackageExtraction::extractSymlink(const Entry &entry) const {
    const fs::path path = packagePath(entry.path);
    const auto [link, target] =
        resolveLink(entry.path, std::get<Common::Rpm::Symlink>(entry.kind).target, {}, versionDirectory_,
                    [&](const fs::path &system) { return packagePathOf(system, mappings_); });
    staging_.createSymlink(target, path);
}

void PackageExtraction::extractHardlink(const Entry &entry) const {
    const fs::path &target = std::get<Common::Rpm::HardLink>(entry.kind).target;
    staging_.createHardlink(packagePath(target), packagePath(entry.path));
}

bool PackageExtraction::hasFailed(bool verdict, const char *text) {
    if (verdict && failure_ == Failure::Ends)
        throw Error(ErrorCode::BadPackageContent, text);
    if (verdict && !firstFailure_)
        firstFailure_ = text;
    return verdict;
}

fs::path PackageExtraction::packagePath(const fs::path &path) const {
    // The mapping drops slashes that stand behind a row's target, so that the package's own words count.
    if (path.native().find("//") != std::string::npos || !path.has_root_directory())
        throw Error(ErrorCode::BadPackageContent, badContent);
    return packagePathOf(path, mappings_);
}

} // namespace Core::KELP
