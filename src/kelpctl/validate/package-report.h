#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
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
};

/// A line that the validator prints beside its findings.
struct ReportedLine {
    std::size_t position; ///< In front of the finding of that number.
    std::string text;
};

/// What is to be said of one package under one profile. The texts are the package's own, not escaped.
struct PackageReport {
    std::string file;
    std::optional<std::string> id; ///< Empty when the header could not be read.
    std::optional<std::string> version;
    std::string profile;
    Verdict verdict = Verdict::Accepted;
    std::string reason; ///< Of any verdict but Accepted.
    std::vector<ReportedFinding> findings;
    std::vector<ReportedLine> lines; ///< In the order of their positions.
};

/// "accepted", "refused" or "incomplete".
std::string nameOf(Verdict verdict);

/// "header" or "files".
std::string nameOf(Stage stage);

/// The text of a finding in which everything that is not of the catalogue is escaped for people.
std::string shownText(const Validator::Message &message);

} // namespace KelpCtl
