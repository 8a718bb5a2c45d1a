#pragma once

#include "kelpctl/validate/overrides.h"
#include "kelpctl/validate/package-report.h"

#include "kelp/core/kelp/validator/configuration/config.h"

#include <chrono>
#include <cstddef>
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
    /// The verdict that stands already, by digest and profile; empty for none of all. What has one is not
    /// judged again.
    std::function<std::optional<KnownVerdict>(const std::string &sha256, const std::string &profile)> known =
        {};
    /// Whether the reports need the package file's digest.
    bool hasDigest = false;
    std::string sha256 = {}; ///< Of the one package that is judged, where it was computed before.
    /// Packages that are judged at once. With more than one a judge has no threads of its own, nor has it for
    /// a small package.
    std::size_t jobs = 1;
    /// Has the reports hold all findings, as the lines that this makes of them; empty for the findings
    /// themselves.
    std::function<std::string(const Validator::Message &)> lineOf = {};
};

/// Unpacks a package file once and judges it by each of the profiles. Returns their reports, in their order.
/// Whatever prevents a verdict is in the reports, as their reason, but Interrupted, which is raised.
std::vector<PackageReport> judgePackage(const std::string &file, const JudgeOptions &options);

/// The SHA-256 of a package file, in hexadecimal digits. Raises as Common::Rpm::sha256Of() does.
std::string sha256OfFile(const std::string &file);

/// Why there is no verdict on a package that took longer than that.
std::string tooLong(std::chrono::seconds time);

} // namespace KelpCtl
