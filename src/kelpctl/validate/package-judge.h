#pragma once

#include "kelpctl/validate/overrides.h"
#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/configuration/config.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KelpCtl {

/// Of one id. More of them nobody reads.
constexpr std::size_t mostShown = 100;

/// How packages are judged.
struct JudgeOptions {
    /// By which each package is judged. They are made once: a profile compiles dozens of expressions.
    std::vector<std::shared_ptr<Validator::Config>> profiles = {};
    std::filesystem::path keep = {};                ///< Where the unpacked tree stays; empty for nowhere.
    std::set<std::string> hidden = {};              ///< Ids of findings that are not reported.
    std::vector<Override> overrides = {};           ///< Of findings that do not count.
    std::optional<std::uint64_t> mostUnpacked = {}; ///< Bytes of all files together.
    std::optional<std::chrono::seconds> timeout = {};
    /// Has the reports hold all findings, as the lines that this makes of them; empty for the findings
    /// themselves.
    std::function<std::string(const Validator::Message &)> lineOf = {};
};

/// Unpacks a package file once and judges it by each of the profiles. Returns their reports, in their order.
/// Whatever prevents a verdict is in the reports, as their reason, but Interrupted, which is raised.
std::vector<PackageReport> judgePackage(const std::string &file, const JudgeOptions &options);

} // namespace KelpCtl
