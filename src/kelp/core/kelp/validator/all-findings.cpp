#include "kelp/core/kelp/validator/all-findings.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/header/header-findings.h"
#include "kelp/core/kelp/validator/program/program-findings.h"
#include "kelp/core/kelp/validator/qml/qml-findings.h"

namespace Validator {

/// kelpctl looks ids up here, to explain and to hide them: findings of a missing catalogue would be unknown
/// to it.
std::vector<CatalogueEntry> allFindings() {
    std::vector<CatalogueEntry> all;
    appendHeaderFindings(all);
    appendContentFindings(all);
    appendDesktopFindings(all);
    appendProgramFindings(all);
    appendQmlFindings(all);
    appendDataFindings(all);
    appendHardeningFindings(all);
    return all;
}

} // namespace Validator
