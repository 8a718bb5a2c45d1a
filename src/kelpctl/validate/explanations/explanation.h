#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <span>
#include <string>
#include <string_view>

namespace KelpCtl {

/// What makers want to know of a finding.
struct Explanation {
    std::string_view id;
    std::string_view what;    ///< What is wrong.
    std::string_view why;     ///< Why a device refuses it, or what would go wrong there.
    std::string_view mend;    ///< How to mend it.
    std::string_view example; ///< Lines of a spec file, a desktop file or a shell; never empty.
};

/// "error", "critical", "warning" or "info".
std::string nameOf(Validator::LogLevel level);

/// The explanation of an id; one without texts for an unknown id.
const Explanation &explanationOf(std::string_view id);

/// All of it as plain text.
std::string explained(const Validator::CatalogueEntry &entry);

// The tables, one for each catalogue.

std::span<const Explanation> headerExplanations();
std::span<const Explanation> contentExplanations();
std::span<const Explanation> desktopExplanations();
std::span<const Explanation> sandboxExplanations();
std::span<const Explanation> taskExplanations();
std::span<const Explanation> programExplanations();
std::span<const Explanation> hardeningExplanations();

} // namespace KelpCtl
