#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <functional>
#include <memory>

namespace Core::KELP {

/// By what a package is judged, and who is told of the findings of each stage; an empty sink prints them.
/// Several may judge one package while it is unpacked once. None of them sees what another has found.
struct PackageJudge {
    std::shared_ptr<Validator::Config> config;
    Validator::FindingSink header = {};
    Validator::FindingSink content = {};
    std::size_t mostOfId = Validator::allOfId; ///< As Validator::Logger takes it.
    /// Called before this one looks at anything: what is printed from then on is about its verdict.
    std::function<void()> begins = {};
};

} // namespace Core::KELP
