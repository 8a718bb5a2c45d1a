#pragma once

#include "kelpctl/exit-status.h"

#include "kelp/core/kelp/validator/configuration/profile.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace KelpCtl {

struct ValidateOptions {
    Validator::Profile profile = Validator::Profile::Regular;
    std::filesystem::path keep; ///< Where the unpacked trees stay; empty for nowhere.
    std::vector<std::string> packages;
};

/// Judges the packages one by one and writes a line for each verdict to `output`. The validator's report, and
/// what prevents a verdict, go to standard error.
ExitStatus validatePackages(const ValidateOptions &options, std::ostream &output);

} // namespace KelpCtl
