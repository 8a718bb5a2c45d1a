#pragma once

#include "kelpctl/validate/run/spool.h"

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

enum class Verdict : std::uint32_t {
    Accepted,
    Refused,
    Incomplete ///< It could not be judged to the end.
};

enum class Stage : std::uint32_t { Header, Files };

struct ReportedFinding {
    Stage stage;
    Validator::Message message;
    std::string hint;       ///< What the maker may have meant; empty when nothing is near.
    std::string overridden; ///< The reason for which it does not count; empty for one that does.
};

/// The text of the finding that stands for those of its id that are not in a report.
inline constexpr std::string_view moreText = "and {0} more reports";

/// What was said before of a package under one profile.
struct KnownVerdict {
    bool isRefused;
    bool hasWarning;
};

/// What is to be said of one package under one profile. The texts are the package's own, not escaped.
struct PackageReport {
    std::string file;
    std::optional<std::string> id; ///< Empty when the header could not be read.
    std::optional<std::string> version;
    std::string sha256; ///< Of the file, in hexadecimal digits; empty when its header could not be read.
    std::string profile;
    std::optional<std::string> osVersion; ///< Of the target.
    Verdict verdict = Verdict::Accepted;
    std::string reason; ///< Of any verdict but Accepted.
    /// A hundred of each id, after which one tells how many more there are, and as many overridden ones.
    std::vector<ReportedFinding> findings;
    std::map<Validator::LogLevel, std::size_t> counts; ///< Of all findings that are not overridden.
    std::size_t overridden = 0;                        ///< How many are.
    std::set<std::size_t> usedOverrides;               ///< The lines that overrode one.
    std::shared_ptr<Spool> lines; ///< All findings, in place of `findings`, where somebody wants lines.
};

/// "accepted", "refused" or "incomplete".
std::string nameOf(Verdict verdict);

/// What tells a finding from all others of its package, whatever file the package is in: of id, path and
/// arguments.
std::string fingerprintOf(const Validator::Message &message);

/// "header" or "files".
std::string nameOf(Stage stage);

} // namespace KelpCtl
