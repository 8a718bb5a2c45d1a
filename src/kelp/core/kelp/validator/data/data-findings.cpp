#include "kelp/core/kelp/validator/data/data-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry iconTexts[] = {
    {LogLevel::Error, "[{0}] Icon not found or file resolution is incorrect"},
};

constexpr CatalogueEntry manifestTexts[] = {
    {LogLevel::Error, "[manifest] manifest file contains invalid JSON"},
    {LogLevel::Warning, "[{0}] Unknown manifest key"},
    {LogLevel::Error, "[{0}] Manifest key has wrong type"},
    {LogLevel::Error, "[manifest] missing minOSVersion field"},
    {LogLevel::Error, "[manifest] invalid version in minOSVersion field"},
    {LogLevel::Error, "[manifest] package minOSVersion incompatible with this OS version"},
};

constexpr CatalogueEntry integritydTexts[] = {
    {LogLevel::Error, "[integrityd] integrityd configuration file mismatching package content"},
    {LogLevel::Error, "[integrityd] integrityd configuration file contains invalid JSON"},
};

constexpr CatalogueEntry parameterFileTexts[] = {
    {LogLevel::Error, "[{0}] Configuration parameter file for managed configuration is invalid"},
};

} // namespace

Message messageOf(IconRule rule, const std::vector<std::string> &strings) {
    return composeMessage(iconTexts, static_cast<std::size_t>(rule), strings);
}

Message messageOf(ManifestRule rule, const std::vector<std::string> &strings) {
    return composeMessage(manifestTexts, static_cast<std::size_t>(rule), strings);
}

Message messageOf(IntegritydRule rule, const std::vector<std::string> &strings) {
    return composeMessage(integritydTexts, static_cast<std::size_t>(rule), strings);
}

Message messageOf(ConfigurationParameterFileRule rule, const std::vector<std::string> &strings) {
    return composeMessage(parameterFileTexts, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
