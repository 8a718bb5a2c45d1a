#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "support/temporary-directory.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// Lines of the report as it prints them.
std::string error(const std::string &text);
std::string warning(const std::string &text);
std::string info(const std::string &text);

/// A checker with the package, the profile and the report that it works on. Change facts_ and profile_, then
/// make the checker.
class CheckerTest : public testing::Test {
protected:
    CheckerTest();

    /// A checker for a new stage of validation.
    template<class Checker>
    std::shared_ptr<Checker> make() {
        logger_ = std::make_shared<Validator::Logger>();
        return std::make_shared<Checker>(std::make_shared<Validator::RpmMeta>(facts_), config(), logger_);
    }

    /// Adds paths to the package's file list.
    void list(const std::vector<std::string> &paths);

    /// Writes the unpacked file that the next validation reads, and returns where it lies.
    std::string unpack(std::string_view content, bool isExecutable = false,
                       const std::string &name = "unpacked");

    /// What the action adds to the report.
    static Lines linesOf(const std::function<void()> &action);

    std::shared_ptr<Validator::Config> config();

    Validator::RpmFacts facts_;
    Validator::Profile profile_ = Validator::Profile::Regular;
    std::shared_ptr<Validator::Logger> logger_;
    TemporaryRoot root_;
};
