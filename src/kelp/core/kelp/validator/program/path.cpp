#include "kelp/core/kelp/validator/program/path.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/program/elf-reader.h"
#include "kelp/core/kelp/validator/program/program-findings.h"

#include <algorithm>

namespace Validator {

namespace {

/// The home of the first user on some devices; a program with this path finds nothing on others.
constexpr std::string_view hardcodedPath = "/home/defaultuser";

/// A smaller file is searched again faster than its answer is found.
constexpr std::size_t remembered = 0x10000;

bool isHardcodedIn(const MappedFile &file) {
    return Passage(file).find(file.bytes(), hardcodedPath) != std::string_view::npos;
}

/// A file whose location is judged.
struct Place {
    const std::string &path;
    const std::string &realPath;
    const std::string &name; ///< Of the package.
    const Config &config;
    bool isAllowed; ///< Whether the profile lists the path.
    std::map<Common::FileIdentity, bool> &areElf;
};

/// A script would run without a check of its commands.
bool isValidElf(const std::string &realPath) {
    const auto reader = ElfReader::create(realPath);
    return reader && reader->isValid();
}

bool isValidElfOrDirectory(const Place &place) {
    const struct stat status = statusOf(place.realPath);
    if (S_ISDIR(status.st_mode))
        return true;
    // Otherwise a large file with twenty thousand names would be read as many times.
    const auto [found, isNew] = place.areElf.try_emplace(Common::identityOf(status));
    if (isNew)
        found->second = isValidElf(place.realPath);
    return found->second;
}

void pass(const Place &, Logger &) {}
void refuse(const Place &place, Logger &logger) {
    logger.log(ContentRule::ForbiddenLocation, {place.path});
}
void refuseBinDirectory(const Place &, Logger &logger) {
    logger.log(ContentRule::OwnsBinDirectory);
}
void refuseDebugFile(const Place &, Logger &logger) {
    logger.log(ContentRule::DebugFiles);
}
void requireElf(const Place &place, Logger &logger) {
    if (!isValidElfOrDirectory(place))
        logger.log(ExecutableRule::NoExecutableInLibexec, {place.path});
}

struct LocationRule {
    bool (*applies)(const Place &);
    void (*judge)(const Place &, Logger &);
};

/// The first matching rule judges. Without a slash after the package's name, longer names pass too.
constexpr LocationRule locationRules[] = {
    {[](const Place &p) {
         return beginsWith(p.path, {"/usr/share/", p.name});
     },
     pass},
    {[](const Place &p) { return p.path.starts_with("/usr/share/icons/hicolor/"); }, pass},
    {[](const Place &p) { return p.path == p.config.binDir() + p.name; }, pass},
    {[](const Place &p) {
         return beginsWith(p.path, {"/usr/share/applications/", p.name, ".desktop"});
     },
     pass},
    {[](const Place &p) {
         return beginsWith(p.path, {"/etc/integrityd/config.d/", p.name, ".json"});
     },
     pass},
    {[](const Place &p) {
         return p.isAllowed && beginsWith(p.path, {"/usr/lib/3rdparty/", p.name, "/"});
     },
     pass},
    {[](const Place &p) { return p.path == p.config.libexecDir() + p.name; }, pass},
    // The checker of the desktop file, if there is one, checks at the end that it is the organisation's own
    // directory.
    {[](const Place &p) { return p.path.starts_with("/usr/share/common/"); }, pass},
    // Before the profile's list, which allows paths in /usr/bin, and so the second form.
    {[](const Place &p) { return p.path == "/usr/bin" || p.path == "/usr/bin/"; }, refuseBinDirectory},
    {[](const Place &p) { return p.path.starts_with("/usr/lib/debug"); }, refuseDebugFile},
    {[](const Place &p) { return p.path.starts_with("/usr/src/debug"); }, refuseDebugFile},
    {[](const Place &p) {
         return beginsWith(p.path, {p.config.libexecDir(), p.name, "/"});
     },
     requireElf},
    // After all rules with findings of their own: a profile with a longer list would lose those.
    {[](const Place &p) { return p.isAllowed; }, pass},
    {[](const Place &) { return true; }, refuse},
};

} // namespace

Path::Path(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void Path::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    checkLocation();
    checkContent();
}

void Path::checkLocation() {
    const Place place{path_,  realPath_, meta_->name(), *config_, config_->allowedPaths().contains(path_),
                      areElf_};
    const auto rule =
        std::ranges::find_if(locationRules, [&](const LocationRule &r) { return r.applies(place); });
    rule->judge(place, *logger_);
}

void Path::checkContent() {
    // Directories cannot be mapped; files stay readable while they are judged.
    const auto file = MappedFile::open(realPath_);
    if (file && holdsHardcodedPath(*file))
        logger_->log(ContentRule::HardcodedPath, {path_});
}

bool Path::holdsHardcodedPath(const MappedFile &file) {
    if (file.bytes().size() < remembered)
        return isHardcodedIn(file);
    // Otherwise a large file with twenty thousand names would be searched as many times.
    const auto [found, isNew] = isHardcodedIn_.try_emplace(file.identity());
    if (isNew)
        found->second = isHardcodedIn(file);
    return found->second;
}

} // namespace Validator
