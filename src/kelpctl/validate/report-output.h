#pragma once

#include "kelpctl/validate/package-report.h"

#include <boost/json/object.hpp>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Writes reports in one form.
class ReportOutput {
public:
    virtual ~ReportOutput() = default;

    /// The `lineOf` of JudgeOptions for this form.
    virtual std::function<std::string(const Validator::Message &)> lineOf() const { return {}; }
    /// Whether it writes the digests of package files.
    virtual bool hasDigest() const { return false; }
    /// Called for each report, in the order of the packages, as soon as its turn has come.
    virtual void write(const PackageReport &report) = 0;
    /// Called once, after all reports.
    virtual void finish() {}
};

// Each writes to `output`, standard output.

/// For people.
std::unique_ptr<ReportOutput> textOutput(std::ostream &output);
/// The same, with how to mend each finding.
std::unique_ptr<ReportOutput> explainingOutput(std::ostream &output);
/// The validator's lines, on standard error, and a line for each verdict.
std::unique_ptr<ReportOutput> linesOutput(std::ostream &output);
/// One document of the tool's own form.
std::unique_ptr<ReportOutput> jsonOutput(std::ostream &output);
/// A document of its own for each package and profile, as jsonLine() makes it.
std::unique_ptr<ReportOutput> jsonLinesOutput(std::ostream &output, boost::json::object conditions);
/// One document in the form 2.1.0 of the Static Analysis Results Interchange Format.
std::unique_ptr<ReportOutput> sarifOutput(std::ostream &output);
/// A Code Quality report of GitLab.
std::unique_ptr<ReportOutput> gitlabOutput(std::ostream &output);
/// One document in the form of JUnit, which build services show as tests.
std::unique_ptr<ReportOutput> junitOutput(std::ostream &output);

/// The beginning of each such line.
constexpr std::string_view jsonLineBeginning = "{\"format\":";

/// A report as one line, with fields of the whole run in front, and its end.
std::string jsonLine(const PackageReport &report, const boost::json::object &conditions);

} // namespace KelpCtl
