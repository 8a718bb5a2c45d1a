// What a program costs, by the number of its symbols, of its libraries, of the imports within it, and of the
// files of its package.

#include "kelp/core/kelp/validator/program/executable.h"
#include "validator/content/elf-image.h"
#include "workbench.h"

using namespace Validator;

namespace {

constexpr const char *mainBinary = "/usr/bin/org.example.app";

void measureImage(benchmark::State &state, Workbench &bench, const ElfImage &image) {
    measure<Executable>(state, bench, mainBinary, bench.unpack("program", image.bytes()));
}

void executableBySymbols(benchmark::State &state) {
    Workbench bench;
    ElfImage image;
    image.addSymbols(std::vector<std::string>(static_cast<std::size_t>(state.range(0)), "symbol"));
    measureImage(state, bench, image);
}
BENCHMARK(executableBySymbols)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void addForeignLibraries(ElfImage &image, std::int64_t count) {
    std::vector<std::pair<std::uint64_t, std::string>> entries;
    for (std::int64_t i = 0; i < count; ++i)
        entries.emplace_back(DT_NEEDED, "libforeign" + std::to_string(i) + ".so");
    image.addDynamic(entries);
}

void executableByLibraries(benchmark::State &state) {
    Workbench bench;
    bench.list(10'000);
    ElfImage image;
    addForeignLibraries(image, state.range(0));
    measureImage(state, bench, image);
}
BENCHMARK(executableByLibraries)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void executableByFilesOfThePackage(benchmark::State &state) {
    Workbench bench;
    bench.list(state.range(0));
    ElfImage image;
    addForeignLibraries(image, 100);
    measureImage(state, bench, image);
}
BENCHMARK(executableByFilesOfThePackage)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void executableByEmbeddedImports(benchmark::State &state) {
    Workbench bench;
    ElfImage image;
    image.add({".rodata", SHT_PROGBITS, numbered(state.range(0), [](const std::string &number) {
                   return "import Some.Module 1." + number + '\n';
               })});
    measureImage(state, bench, image);
}
BENCHMARK(executableByEmbeddedImports)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

} // namespace
