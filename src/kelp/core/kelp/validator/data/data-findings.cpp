#include "kelp/core/kelp/validator/data/data-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry iconTexts[] = {
    {LogLevel::Error, "icon-wrong-size", "[{0}] Icon not found or file resolution is incorrect",
     Subject::File},
};

/// The last two are about the comparison. One without an answer must neither end the process nor pass
/// unnoticed. The system's version can be unknown only away from a device.
constexpr CatalogueEntry manifestTexts[] = {
    {LogLevel::Error, "manifest-invalid-json", "[manifest] manifest file contains invalid JSON"},
    {LogLevel::Warning, "manifest-key-unknown", "[{0}] Unknown manifest key"},
    {LogLevel::Error, "manifest-key-type", "[{0}] Manifest key has wrong type"},
    {LogLevel::Error, "manifest-version-missing", "[manifest] missing minOSVersion field"},
    {LogLevel::Error, "manifest-version-invalid", "[manifest] invalid version in minOSVersion field"},
    {LogLevel::Error, "manifest-version-incompatible",
     "[manifest] package minOSVersion incompatible with this OS version"},
    {LogLevel::Error, "manifest-version-incomparable",
     "[manifest] minOSVersion holds a version of one component, which names no release line"},
    {LogLevel::Warning, "os-version-unknown",
     "[manifest] minOSVersion was not checked, as the version of the target is not known"},
};

constexpr CatalogueEntry integritydTexts[] = {
    {LogLevel::Error, "integrity-file-mismatch",
     "[integrityd] integrityd configuration file mismatching package content"},
    {LogLevel::Error, "integrity-file-invalid-json",
     "[integrityd] integrityd configuration file contains invalid JSON"},
};

constexpr CatalogueEntry parameterFileTexts[] = {
    {LogLevel::Error, "parameter-file-invalid",
     "[{0}] Configuration parameter file for managed configuration is invalid", Subject::File},
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

void appendDataFindings(std::vector<CatalogueEntry> &all) {
    for (const Catalogue catalogue : {Catalogue(iconTexts), Catalogue(manifestTexts),
                                      Catalogue(integritydTexts), Catalogue(parameterFileTexts)})
        all.insert(all.end(), catalogue.begin(), catalogue.end());
}

} // namespace Validator
