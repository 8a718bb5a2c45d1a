#include "kelp/core/kelp/validator/desktop/desktop-attestation.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

namespace Validator {

namespace {

const std::string attestationGroup = "Attestation";

constexpr std::string_view mandatoryKeys[] = {"ActionOnBadAttestation"};
constexpr std::string_view actions[] = {"None", "RemoveAll"};
constexpr ValueRow allowed[] = {{"ActionOnBadAttestation", actions}};

} // namespace

DesktopAttestation::DesktopAttestation(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void DesktopAttestation::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    entry_ = Core::KELP::readDesktopFile(realPath);
    if (!entry_ || !entry_->containsGroup(attestationGroup))
        return;
    const std::vector<std::string> names = entry_->groupKeys(attestationGroup);
    const Keys keys(names.begin(), names.end());
    // The first kind of fault ends the check: without its keys the group's values mean nothing.
    if (!reportMissing(keys) && !reportUnknown(keys))
        checkValues(keys);
}

bool DesktopAttestation::reportMissing(const Keys &keys) {
    bool isAnyMissing = false;
    for (const std::string_view key : mandatoryKeys) {
        if (keys.contains(key))
            continue;
        logger_->log(KeyValueMessage::KeyMissing, {key, attestationGroup});
        isAnyMissing = true;
    }
    return isAnyMissing;
}

bool DesktopAttestation::reportUnknown(const Keys &keys) {
    bool isAnyUnknown = false;
    for (const std::string &key : keys) {
        if (findRow(allowed, key) != nullptr)
            continue;
        logger_->log(KeyValueMessage::KeyInvalid, {key, attestationGroup});
        isAnyUnknown = true;
    }
    return isAnyUnknown;
}

void DesktopAttestation::checkValues(const Keys &keys) {
    for (const std::string &key : keys) {
        // No key is unknown here, so each has a row.
        const std::string value = entry_->value(attestationGroup, key);
        if (!isOneOf(findRow(allowed, key)->values, value))
            logger_->log(KeyValueMessage::ValueInvalid, {value, key});
    }
}

void appendAttestationRules(Rules &rules) {
    appendValueRules(rules, "key", attestationGroup + '/', allowed);
}

} // namespace Validator
