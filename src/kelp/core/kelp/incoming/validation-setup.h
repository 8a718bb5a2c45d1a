#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <functional>
#include <memory>

namespace Core::KELP {

/// The rules by which a package is judged, and a sink for the findings of each stage; an empty sink prints
/// them. Several judges may share one unpacking. None sees another's findings.
struct ValidationSetup {
    std::shared_ptr<Validator::Config> config;
    Validator::FindingSink header = {};
    Validator::FindingSink content = {};
    std::size_t mostOfId = Validator::allOfId; ///< As Validator::Logger takes it.
    /// Called before this judge looks at anything: later prints belong to its verdict.
    std::function<void()> begins = {};
};

} // namespace Core::KELP
