#include "kelp/core/kelp/validator/content-validator.h"

#include "kelp/core/kelp/validator/data/configuration-parameter-file.h"
#include "kelp/core/kelp/validator/data/icon.h"
#include "kelp/core/kelp/validator/data/integrityd.h"
#include "kelp/core/kelp/validator/data/manifest.h"
#include "kelp/core/kelp/validator/desktop/desktop.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/hardening/desktop-hardening.h"
#include "kelp/core/kelp/validator/hardening/elf-hardening.h"
#include "kelp/core/kelp/validator/hardening/integrity-hardening.h"
#include "kelp/core/kelp/validator/program/executable.h"
#include "kelp/core/kelp/validator/program/path.h"
#include "kelp/core/kelp/validator/qml/qml-imports.h"

namespace Validator {

ContentValidator::ContentValidator(std::shared_ptr<Config> config, const RpmMeta &meta, FindingSink sink,
                                   std::size_t mostOfId) :
    config_(std::move(config)),
    meta_(std::make_shared<RpmMeta>(meta)),
    logger_(std::make_shared<Logger>(std::move(sink), mostOfId)),
    desktop_(std::make_shared<Desktop>(meta_, config_, logger_)),
    // The order of the report's lines. Files come in the order of the payload, so facts of other checkers are
    // complete only in finish().
    checkers_{
        {ContentChecker::Desktop, desktop_},
        {ContentChecker::Executable, std::make_shared<Executable>(meta_, config_, logger_)},
        {ContentChecker::QmlImports, std::make_shared<QmlImports>(meta_, config_, logger_)},
        {ContentChecker::Icon, std::make_shared<Icon>(meta_, config_, logger_)},
        {ContentChecker::Integrityd, std::make_shared<Integrityd>(meta_, config_, logger_)},
        {ContentChecker::Manifest, std::make_shared<Manifest>(meta_, config_, logger_)},
        {ContentChecker::Path, std::make_shared<Path>(meta_, config_, logger_)},
        {ContentChecker::ConfigurationParameterFile,
         std::make_shared<ConfigurationParameterFile>(meta_, config_, logger_)},
    },
    hardening_{std::make_shared<ElfHardening>(meta_, config_, logger_),
               std::make_shared<DesktopHardening>(meta_, config_, logger_),
               std::make_shared<IntegrityHardening>(meta_, config_, logger_)} {}

void ContentValidator::setInstallRoot(const std::string &root) {
    desktop_->setInstallRoot(root);
}

void ContentValidator::setPathMappings(const std::vector<Core::KELP::Mapping> &mappings) {
    desktop_->setPathMappings(mappings);
}

bool ContentValidator::validateFile(const std::string &path, const std::string &realPath) {
    path_ = path;
    realPath_ = realPath;
    logger_->setPath(path);
    // Asks every checker about every file: a main binary concerns several, and some remember files that they
    // do not judge.
    for (const auto &[key, checker] : checkers_)
        if (checker->canValidate(path_, realPath_))
            checker->validate(path_, realPath_);
    for (const auto &checker : hardening_)
        if (checker->canValidate(path_, realPath_))
            checker->validate(path_, realPath_);
    // Findings after the last file concern the package, unless they name a file.
    logger_->setPath({});
    return takeVerdict(*logger_, *config_);
}

bool ContentValidator::report(ContentRule rule, const std::string &path) {
    logger_->log(rule, {path});
    return takeVerdict(*logger_, *config_);
}

bool ContentValidator::finishContent() {
    for (const auto &[key, checker] : checkers_)
        checker->finish();
    checkArchitecture();
    for (const auto &checker : hardening_)
        checker->finish();
    return takeVerdict(*logger_, *config_);
}

/// A warning: the package runs where it can be installed. One ELF file silences it: a plugin that QML loads
/// is a reason for an architecture.
void ContentValidator::checkArchitecture() {
    if (meta_->architecture() != "noarch" && logger_->getFlag(ValidatorFlag::QmlOnlyApp) &&
        !logger_->getFlag(ValidatorFlag::ElfSeen))
        logger_->log(ContentRule::QmlOnlyNotNoarch);
}

} // namespace Validator
