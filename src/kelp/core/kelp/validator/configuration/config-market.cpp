#include "kelp/core/kelp/validator/configuration/config-market.h"

#include "kelp/core/kelp/validator/configuration/rows-market.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigMarket::ConfigMarket() {
    name = "market";
    addExpressions(allowedPaths, MarketRows::allowedPathsExpressions);
    addStrings(allowedPermissions, MarketRows::allowedPermissions);
    addStrings(allowedLibraries, MarketRows::allowedLibraries);
}

} // namespace Configuration
