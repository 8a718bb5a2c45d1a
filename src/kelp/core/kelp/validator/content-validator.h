#pragma once

#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Validator {

class Desktop;

/// The checkers of a package's files, in the order in which they see each file.
enum class ContentChecker : std::uint32_t {
    Desktop = 0,
    Executable = 1,
    QmlImports = 2,
    Icon = 3,
    Integrityd = 4,
    Manifest = 5,
    Path = 6,
    ConfigurationParameterFile = 7,
};

/// The second stage of validation. It passes every unpacked file of one package to the checkers that it
/// concerns, and gives a verdict on each file and on the whole package. Its report is separate from that of
/// the first stage.
///
/// A checker reports a fault of the package as a finding, never as an exception. If a failure prevents a
/// checker from working, its exception passes to the caller.
class ContentValidator {
public:
    /// Findings go to the sink, as in Logger; to standard error when it is empty.
    ContentValidator(std::shared_ptr<Config> config, const RpmMeta &meta, FindingSink sink = {},
                     std::size_t mostOfId = allOfId);

    /// The directory below which the package is unpacked, and how the layout there differs from the system's.
    /// Called before finishContent().
    void setInstallRoot(const std::string &root);
    void setPathMappings(const std::vector<Core::KELP::Mapping> &mappings);

    /// Judges one file: `path` is its name in the package, `realPath` its place unpacked. Returns whether the
    /// package failed; errors in files before this one do not count again.
    bool validateFile(const std::string &path, const std::string &realPath);

    /// Reports a finding of the unpacking itself about a file, and returns whether the package failed.
    bool report(ContentRule rule, const std::string &path);

    /// Runs the checks that need all files, and returns whether the package failed. Called once; the files
    /// must still be in place.
    bool finishContent();

private:
    void checkArchitecture();

    std::string path_; ///< Of the present file, as the package names it.
    std::string realPath_;
    std::shared_ptr<Config> config_;
    std::shared_ptr<RpmMeta> meta_;
    std::shared_ptr<Logger> logger_;
    std::shared_ptr<Desktop> desktop_; ///< The first of the checkers.
    std::map<ContentChecker, std::shared_ptr<IValidator>> checkers_;
    std::vector<std::shared_ptr<IValidator>>
        hardening_; ///< They check what the others let by, so they run last.
};

} // namespace Validator
