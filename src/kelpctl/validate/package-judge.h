#pragma once

#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/profile.h"

#include <filesystem>
#include <set>
#include <string>

namespace KelpCtl {

/// How packages are judged.
struct JudgeOptions {
    Validator::Target target = {};
    std::filesystem::path keep = {};   ///< Where the unpacked tree stays; empty for nowhere.
    std::set<std::string> hidden = {}; ///< Ids of findings that are not reported.
};

/// Judges a package file under a profile. Whatever prevents a verdict is in the report, as its reason, but
/// Interrupted, which is raised.
PackageReport judgePackage(const std::string &file, Validator::Profile profile, const JudgeOptions &options);

} // namespace KelpCtl
