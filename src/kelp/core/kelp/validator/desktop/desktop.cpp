#include "kelp/core/kelp/validator/desktop/desktop.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/desktop/desktop-attestation.h"
#include "kelp/core/kelp/validator/desktop/desktop-capabilities.h"
#include "kelp/core/kelp/validator/desktop/desktop-default.h"
#include "kelp/core/kelp/validator/desktop/desktop-fencebox.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-intents.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include "platform/app-manifest/manifest-entry.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

namespace Validator {

namespace {

using AppManifest::ManifestEntry;

const std::string commonDirectory = "/usr/share/common/";

/// Nothing for a broken file. A file that is gone raises: the reader gives nothing for it.
std::optional<ManifestEntry> read(const std::string &path) {
    auto entry = Core::KELP::readDesktopFile(path);
    if (!entry)
        statusOf(path);
    return entry;
}

struct Free {
    void operator()(char *text) const { std::free(text); }
};

/// The errors for which the package's own path is at fault.
constexpr int faultsOfThePath[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG};

/// The path without links, or nothing if it is dangling. A link in the package's directory to a program of
/// the system must not pass for one of the package.
std::string resolved(const std::string &path) {
    const std::unique_ptr<char, Free> result(::realpath(path.c_str(), nullptr));
    if (result)
        return result.get();
    if (std::ranges::find(faultsOfThePath, errno) == std::end(faultsOfThePath))
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path, errno);
    std::cerr << "ExecDBus error: " << std::strerror(errno) << '\n';
    return {};
}

std::string unpackedPathOf(const std::string &systemPath, const UnpackedTree &tree) {
    return tree.root + "/" + Core::KELP::packagePathOf(systemPath, tree.mappings).string();
}

} // namespace

bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree) {
    // Joined with the root as texts: the standard path type would drop the root before an absolute path.
    std::string program(programOf(launchLine));
    std::string binary = "/usr/bin/" + packageName;
    std::string directory = "/usr/libexec/" + packageName;
    // Resolved in any case: its line on standard error belongs to the report. The main binary then passes by
    // its name; the checker of programs reports it if it is missing.
    if (tree.mappings.empty())
        return resolved(tree.root + program).find(directory) != std::string::npos || program == binary;

    for (std::string *path : {&binary, &program, &directory})
        *path = unpackedPathOf(*path, tree);
    return resolved(program).find(directory) != std::string::npos || program == binary;
}

Desktop::Desktop(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                 std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void Desktop::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    if (!read(realPath)) {
        logger_->log(DesktopMessage::Broken);
        return;
    }
    // Each checker leaves flags for the next ones, and drops its parsed file before the next reads it.
    DesktopDefault(meta_, config_, logger_).validate(path, realPath);
    DesktopFencebox(meta_, config_, logger_).validate(path, realPath);
    DesktopIntents(meta_, config_, logger_).validate(path, realPath);
    DesktopAttestation(meta_, config_, logger_).validate(path, realPath);
    DesktopCapabilities(meta_, config_, logger_).validate(path, realPath);
}

bool Desktop::canValidate(const std::string &path, const std::string &realPath) {
    // The right directory is known only with the desktop file, which may come later.
    if (path.starts_with(commonDirectory))
        commonPaths_.push_back(path);
    // By the system's name for it; a link of that name is judged by its target.
    if (path != config_->applicationsDir() + meta_->name() + ".desktop")
        return false;
    desktopRealPath_ = realPath;
    return true;
}

void Desktop::finish() {
    if (!logger_->getFlag(ValidatorFlag::DesktopSeen)) {
        reportMissing();
        return;
    }
    // Read again and not kept: at its bounds it is a tree of a million names, too large to keep while all
    // other files are judged.
    const auto entry = read(desktopRealPath_);
    if (!entry) {
        logger_->log(DesktopMessage::Broken);
        return;
    }
    checkCommonPaths(entry->appOrgname());
    // Only now: the program may come after the desktop file, and through a link.
    if (!logger_->getFlag(ValidatorFlag::NoSandboxSection))
        checkExecDBus(*entry);
}

void Desktop::reportMissing() {
    logger_->log(config_->isDesktopFileRequired() ? DesktopMessage::Missing
                                                  : DesktopMessage::MissingUnchecked);
}

void Desktop::checkCommonPaths(const std::string &organisation) {
    const std::string directory = commonDirectory + organisation;
    for (const std::string &path : commonPaths_) {
        // With the slash: another organisation's name may begin with this one's.
        if (path != directory && !path.starts_with(directory + "/"))
            logger_->log(ContentRule::ForbiddenLocation, {path});
    }
}

void Desktop::checkExecDBus(const ManifestEntry &entry) {
    const std::string *section = sandboxSectionOf(entry);
    if (section == nullptr || !entry.contains(*section, "ExecDBus"))
        return;
    if (!isExecDBusAllowed(entry.value(*section, "ExecDBus"), meta_->name(), tree_))
        logger_->log(SandboxMessage::ExecDBusInvalid);
}

} // namespace Validator
