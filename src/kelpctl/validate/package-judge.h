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

/// The most reports of one id: people read no more.
constexpr std::size_t mostShown = 100;

/// How packages are judged.
struct JudgeOptions {
    /// The profiles to judge by. Made once: a profile compiles dozens of expressions.
    std::vector<std::shared_ptr<Validator::Config>> profiles = {};
    std::filesystem::path keep = {};                ///< Where the unpacked tree stays; empty for nowhere.
    std::set<std::string> hidden = {};              ///< Ids of findings that are not reported.
    std::vector<Override> overrides = {};           ///< Accepted findings.
    std::optional<std::uint64_t> mostUnpacked = {}; ///< Bytes of all files together.
    std::optional<std::chrono::seconds> timeout = {};
    /// The time beyond it in which a judge should notice by itself that it took too long.
    std::chrono::seconds grace{2};
    /// Finds an earlier verdict by digest and profile; empty if there are none. A package with a verdict is
    /// not judged again.
    std::function<std::optional<KnownVerdict>(const std::string &sha256, const std::string &profile)> known =
        {};
    /// Called first by each forked judge: releases the locks and files of the run.
    std::function<void()> leaveRun = {};
    /// Whether the reports need the package file's digest.
    bool hasDigest = false;
    std::string sha256 = {}; ///< Of the one package, if already computed.
    /// The number of packages judged at once. With more than one, and for a small package, a judge has no
    /// threads.
    std::size_t jobs = 1;
    /// Makes a line of each finding; the reports then hold lines of those that are neither hidden nor
    /// overridden. Empty for findings as such.
    std::function<std::string(const Validator::Message &)> lineOf = {};
};

/// Unpacks a package file once and judges it by each of the profiles. Returns their reports, in their order.
/// A failure that prevents a verdict becomes the reports' reason; only Interrupted is raised.
std::vector<PackageReport> judgePackage(const std::string &file, const JudgeOptions &options);

/// The SHA-256 of a package file, in hexadecimal digits. Raises ErrorCode::Filesystem "Couldn't read
/// file: PATH: REASON", also for one that is no regular file.
std::string sha256OfFile(const std::string &file);

/// The reason for a package that took longer than `time`.
std::string tooLong(std::chrono::seconds time);

} // namespace KelpCtl
