#pragma once

#include "kelp/core/kelp/validator/framework/message.h"
#include "kelpctl/validate/run/spool.h"

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
    std::string hint;       ///< The word that the maker may have meant; empty when none is close.
    std::string overridden; ///< Why it is accepted; empty if it is not.
};

/// The text of the finding that stands for the omitted ones of its id.
inline constexpr std::string_view moreText = "and {0} more reports";

/// An earlier verdict on a package under one profile.
struct KnownVerdict {
    bool isRefused;
    bool hasWarning;
};

/// The report of one package under one profile. The texts are the package's own, not escaped.
struct PackageReport {
    std::string file;
    std::optional<std::string> id; ///< Empty when the header could not be read.
    std::optional<std::string> version;
    std::string sha256; ///< Of the file, in hexadecimal digits; empty if not requested, or unknown.
    std::string profile;
    std::optional<std::string> osVersion; ///< Of the target.
    Verdict verdict = Verdict::Accepted;
    std::string reason; ///< Of any verdict but Accepted.
    /// Up to a hundred of each id, then one with the number of the others; overridden ones likewise.
    std::vector<ReportedFinding> findings;
    std::map<Validator::LogLevel, std::size_t> counts; ///< Of all findings that are not overridden.
    std::size_t overridden = 0;                        ///< Their number.
    std::set<std::size_t> usedOverrides;               ///< The lines that were used.
    std::shared_ptr<Spool> lines; ///< Lines in place of `findings`, if requested, without overridden ones.
};

/// "accepted", "refused" or "incomplete".
std::string nameOf(Verdict verdict);

/// Identifies a finding within its package, by id, path and arguments; independent of the package's file.
std::string fingerprintOf(const Validator::Message &message);

/// "header" or "files".
std::string nameOf(Stage stage);

/// A report as bytes, for another process of this very program; without its lines.
std::string packed(const PackageReport &report);

/// The report of such bytes. A hostile package may have taken over its judge: raises std::runtime_error for
/// bytes that are no report.
PackageReport unpacked(std::string_view bytes);

} // namespace KelpCtl
