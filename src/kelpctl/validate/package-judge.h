#pragma once

#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/profile.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace KelpCtl {

/// Who takes what the validator says as soon as it says it, in place of the report.
struct LiveReport {
    std::function<void(const Validator::Message &)> finding = {};
    std::function<void(const std::string &)> line = {}; ///< What stands beside the findings.
};

/// How packages are judged.
struct JudgeOptions {
    Validator::Target target = {};
    std::filesystem::path keep = {};                ///< Where the unpacked tree stays; empty for nowhere.
    std::set<std::string> hidden = {};              ///< Ids of findings that are not reported.
    std::optional<std::uint64_t> mostUnpacked = {}; ///< Bytes of all files together.
    std::optional<std::chrono::seconds> timeout = {};
    LiveReport live = {}; ///< Empty functions for nobody.
};

/// Judges a package file under a profile. Whatever prevents a verdict is in the report, as its reason, but
/// Interrupted, which is raised.
PackageReport judgePackage(const std::string &file, Validator::Profile profile, const JudgeOptions &options);

} // namespace KelpCtl
