#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <iostream>
#include <memory>
#include <string>

/// The policy that the fuzzers hold packages against, built once: it takes longer than most inputs.
inline std::shared_ptr<Validator::Config> fuzzConfig() {
    // The report would drown what the fuzzer has to say, which does not go through this stream.
    std::cerr.rdbuf(nullptr);
    static const auto config = std::make_shared<Validator::Config>(Validator::Profile::Regular);
    return config;
}

/// A checker of a package named "app", with the report that it fills.
template<class Checker>
class FuzzChecker {
public:
    explicit FuzzChecker(const std::vector<std::string> &files = {}) : checker(make(files)) {}

    std::shared_ptr<Validator::Logger> report = std::make_shared<Validator::Logger>();
    std::shared_ptr<Checker> checker;

private:
    std::shared_ptr<Checker> make(const std::vector<std::string> &files) {
        Validator::RpmFacts facts;
        facts.name = "app";
        facts.architecture = "noarch";
        for (const std::string &file : files)
            facts.files.emplace_back().path = file;
        return std::make_shared<Checker>(std::make_shared<Validator::RpmMeta>(facts), fuzzConfig(), report);
    }
};
