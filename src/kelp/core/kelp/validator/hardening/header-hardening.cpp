#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

namespace Validator {

void checkHeaderHardening(const HeaderCheck &check) {
    checkWords(check);
    // Critical as the scriptlets are: all of them run as root, outside the sandbox.
    if (check.meta.hasOtherScripts())
        check.logger.log(HardeningRule::OtherScripts);
    checkPlaces(check);
}

} // namespace Validator
