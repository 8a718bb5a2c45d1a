#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "validator/noted-findings.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Findings as NotedFindings gives them.
using Lines = std::vector<std::string>;

/// A checker with the package, the profile and the report that it works on. Change facts_ and profile_, then
/// make the checker.
class CheckerTest : public testing::Test {
protected:
    CheckerTest();

    /// A checker for a new stage of validation.
    template<class Checker>
    std::shared_ptr<Checker> make() {
        logger_ = std::make_shared<Validator::Logger>(findings_.sink());
        return std::make_shared<Checker>(std::make_shared<Validator::RpmMeta>(facts_), config(), logger_);
    }

    /// Adds paths to the package's file list.
    void list(const std::vector<std::string> &paths);

    /// Writes the unpacked file that the next validation reads, and returns where it lies.
    std::string unpack(std::string_view content, bool isExecutable = false,
                       const std::string &name = "unpacked");

    /// What the action finds.
    Lines linesOf(const std::function<void()> &action);

    std::shared_ptr<Validator::Config> config() const {
        const CapturedOutput noDeveloperMode(CapturedOutput::Stream::Error);
        return std::make_shared<Validator::Config>(profile_);
    }

    Validator::RpmFacts facts_;
    Validator::Profile profile_ = Validator::Profile::Regular;
    std::shared_ptr<Validator::Logger> logger_;
    NotedFindings findings_;
    TemporaryRoot root_;
};
