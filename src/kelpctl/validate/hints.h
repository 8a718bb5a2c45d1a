#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/message.h"
#include "kelp/core/kelp/validator/framework/rule.h"

#include <optional>
#include <string>

namespace KelpCtl {

/// Guesses what the maker of a package meant by a word that no rule knows.
class Hints {
public:
    explicit Hints(const Validator::Config &config) : config_(config) {}

    /// The word of a rule that is spelt nearly like that of the finding; empty when none is near, or the
    /// finding is not about such a word.
    std::string of(const Validator::Message &message);

private:
    const Validator::Rules &rules();

    Validator::Config config_;
    std::optional<Validator::Rules> rules_; ///< Made for the first finding that asks.
};

} // namespace KelpCtl
