#include "kelp/core/kelp/validator/data/manifest-rule.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[manifest] manifest file contains invalid JSON"},
    {LogLevel::Warning, "[{0}] Unknown manifest key"},
    {LogLevel::Error, "[{0}] Manifest key has wrong type"},
    {LogLevel::Error, "[manifest] missing minOSVersion field"},
    {LogLevel::Error, "[manifest] invalid version in minOSVersion field"},
    {LogLevel::Error, "[manifest] package minOSVersion incompatible with this OS version"},
};

} // namespace

Message messageOf(ManifestRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
