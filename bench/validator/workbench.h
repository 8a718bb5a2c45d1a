#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "support/temporary-directory.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>

/// A package named "org.example.app" and a file of it on disk, for one measurement. Nothing is printed.
class Workbench {
public:
    Workbench();

    /// Adds `count` files to the package's file list, where a package keeps its data.
    void list(std::int64_t count);

    /// Writes the unpacked file of that name and returns where it lies.
    std::string unpack(const std::string &name, std::string_view content) const;

    template<class Checker>
    std::shared_ptr<Checker> make() {
        return std::make_shared<Checker>(std::make_shared<Validator::RpmMeta>(facts), config,
                                         std::make_shared<Validator::Logger>());
    }

    Validator::RpmFacts facts;
    std::shared_ptr<Validator::Config> config;

private:
    TemporaryRoot root_;
};

/// Measures validating one file that lies at `realPath`, by a checker that is new each time.
template<class Checker>
void measure(benchmark::State &state, Workbench &bench, const std::string &path,
             const std::string &realPath) {
    const auto meta = std::make_shared<Validator::RpmMeta>(bench.facts);
    for (auto _ : state) {
        Checker checker(meta, bench.config, std::make_shared<Validator::Logger>());
        checker.validate(path, realPath);
    }
    state.SetComplexityN(state.range(0));
}

std::string repeated(std::string_view piece, std::int64_t times);

/// Text that `piece` makes for each number below `count`.
std::string numbered(std::int64_t count, const std::function<std::string(const std::string &)> &piece);
