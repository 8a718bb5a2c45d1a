#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <optional>
#include <string>

namespace KelpCtl {

/// Guesses the word that the maker of a package meant by an unknown one.
class Hints {
public:
    explicit Hints(const Validator::Config &config) : config_(config) {}

    /// The word of a rule closest to that of the finding; empty when none is close, or the finding has no
    /// such word.
    std::string of(const Validator::Message &message);

private:
    const Validator::Rules &rules();

    Validator::Config config_;
    std::optional<Validator::Rules> rules_; ///< Made at the first question.
};

} // namespace KelpCtl
