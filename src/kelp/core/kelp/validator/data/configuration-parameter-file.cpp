#include "kelp/core/kelp/validator/data/configuration-parameter-file.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "platform/managed-configuration/cpf-validator.h"

namespace Validator {

namespace {

using ManagedConfiguration::Validator::CPFValidator;

/// The checker keeps none: the platform owns one object for each directory.
std::shared_ptr<CPFValidator> platformValidator() {
    return CPFValidator::instance(CPFValidator::standardSchemasDirectory());
}

} // namespace

ConfigurationParameterFile::ConfigurationParameterFile(std::shared_ptr<RpmMeta> meta,
                                                       std::shared_ptr<Config> config,
                                                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool ConfigurationParameterFile::canValidate(const std::string &path, const std::string &) {
    // By the package's name, so that another package's files are not judged as its own.
    return platformValidator()->isConfigurationParameterFile(meta_->name(), path);
}

void ConfigurationParameterFile::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    if (!isValid(realPath_))
        logger_->log(ConfigurationParameterFileRule::Invalid, {path_});
}

bool ConfigurationParameterFile::isValid(const std::string &realPath) {
    // Otherwise a large file with twenty thousand names would be read as many times.
    const auto [found, isNew] = areValid_.try_emplace(Common::identityOf(statusOf(realPath)));
    if (isNew)
        found->second = platformValidator()->isValid(realPath);
    if (isNew && !found->second)
        // Raises for an unreadable file, for which the platform's answer would be the same.
        MappedFile::open(realPath);
    return found->second;
}

} // namespace Validator
