#pragma once

#include "kelpctl/validate/spool.h"

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
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
    std::string hint; ///< What the maker may have meant; empty when nothing is near.
};

/// What is to be said of one package under one profile. The texts are the package's own, not escaped.
struct PackageReport {
    std::string file;
    std::optional<std::string> id; ///< Empty when the header could not be read.
    std::optional<std::string> version;
    std::string profile;
    Verdict verdict = Verdict::Accepted;
    std::string reason; ///< Of any verdict but Accepted.
    /// A hundred of each id, behind which one tells how many more there are.
    std::vector<ReportedFinding> findings;
    std::map<Validator::LogLevel, std::size_t> counts; ///< Of all findings.
    std::shared_ptr<Spool> lines; ///< All findings, in place of `findings`, where somebody wants lines.
};

/// "accepted", "refused" or "incomplete".
std::string nameOf(Verdict verdict);

/// "header" or "files".
std::string nameOf(Stage stage);

/// The text of a finding in which everything that is not of the catalogue is escaped for people.
std::string shownText(const Validator::Message &message);

} // namespace KelpCtl
