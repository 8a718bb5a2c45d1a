#pragma once

#include "kelpctl/validate/package-judge.h"
#include "kelpctl/validate/spelling-hints.h"

#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace KelpCtl {

/// The report of one package under one profile, while that is being judged.
class CollectedReport {
public:
    /// The options must live as long as the object.
    CollectedReport(const std::string &file, const Validator::Config &profile, const JudgeOptions &options);

    void name(const std::string &id, const std::string &version);

    /// The SHA-256 of the package file.
    void setDigest(const std::string &sha256) { report_.sha256 = sha256; }

    /// Adds a finding, unless its id is hidden. Raises as Spool::append() does.
    void add(Stage stage, const Validator::Message &message);

    /// Adds a line of the validator beside its findings, when all findings are lines.
    void addLine(const std::string &line);

    /// The last verdict counts.
    void conclude(Verdict verdict, const std::string &reason);

    PackageReport take() &&;

private:
    /// Findings of one id; the overridden ones are kept apart.
    struct Shown {
        std::vector<std::size_t> places; ///< In the report; the last tells how many more there are.
        std::size_t more = 0;
    };

    void count(const Validator::Message &message, const Override *override);
    bool isShown(const Shown &shown, const Validator::Message &message) const;
    void tellMore(const Shown &shown);

    PackageReport report_;
    const JudgeOptions &options_;
    Hints hints_;
    std::map<std::pair<std::string_view, bool>, Shown> shown_;
};

} // namespace KelpCtl
