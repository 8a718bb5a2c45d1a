#pragma once

#include "kelpctl/validate/hints.h"
#include "kelpctl/validate/package-judge.h"

#include <map>
#include <string_view>

namespace KelpCtl {

/// The report of one package under one profile, as long as that is being judged.
class CollectedReport {
public:
    /// The options must live as long as the object.
    CollectedReport(const std::string &file, const Validator::Config &profile, const JudgeOptions &options);

    void name(const std::string &id, const std::string &version);

    /// Adds a finding, unless its id is hidden. Raises as Spool::append() does.
    void add(Stage stage, const Validator::Message &message);

    /// Adds what the validator says beside its findings, where all of them are lines.
    void addLine(const std::string &line);

    /// The last verdict counts.
    void conclude(Verdict verdict, const std::string &reason);

    PackageReport take() &&;

private:
    /// Of one id.
    struct Shown {
        std::size_t count = 0;
        std::size_t more = 0;
        std::size_t place = 0; ///< Of the finding that tells how many more there are.
    };

    void tellMore(const Shown &shown);

    PackageReport report_;
    const JudgeOptions &options_;
    Hints hints_;
    std::map<std::string_view, Shown> shown_;
};

} // namespace KelpCtl
