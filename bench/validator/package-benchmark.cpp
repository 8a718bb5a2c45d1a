// What the first stage and the checkers of paths cost, by the number of files of the package.

#include "kelp/core/kelp/validator/data/integrityd.h"
#include "kelp/core/kelp/validator/program/path.h"
#include "kelp/core/kelp/validator/rpm-meta-checker.h"
#include "workbench.h"

using namespace Validator;

namespace {

void metaStageByFiles(benchmark::State &state) {
    Workbench bench;
    bench.list(state.range(0));
    const RpmMeta meta(bench.facts);
    for (auto _ : state)
        benchmark::DoNotOptimize(RpmMetaChecker(bench.config, meta).validateMeta());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(metaStageByFiles)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void pathByBytes(benchmark::State &state) {
    Workbench bench;
    const std::string file = bench.unpack("data", repeated("/home/some ", state.range(0) / 11));
    measure<Path>(state, bench, "/usr/share/org.example.app/data/a", file);
}
BENCHMARK(pathByBytes)
    ->RangeMultiplier(10)
    ->Range(100'000, 10'000'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void integritydByWatchedFiles(benchmark::State &state) {
    Workbench bench;
    bench.list(state.range(0));
    const std::string content = numbered(state.range(0), [](const std::string &number) {
        return "\"file:/usr/share/org.example.app/data/" + number + "\",";
    });
    const std::string file =
        bench.unpack("watch", "{\"watch\": [" + content + "\"/usr/share/org.example.app/data/0\"]}");
    measure<Integrityd>(state, bench, "/etc/integrityd/config.d/org.example.app.json", file);
}
BENCHMARK(integritydByWatchedFiles)
    ->Arg(500)
    ->Arg(5000)
    ->Arg(50'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

} // namespace
