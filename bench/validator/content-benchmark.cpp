// What the data files of a package cost, by their size or their number.

#include "kelp/core/kelp/validator/data/configuration-parameter-file.h"
#include "kelp/core/kelp/validator/data/icon.h"
#include "kelp/core/kelp/validator/data/manifest.h"
#include "kelp/core/kelp/validator/qml/qml-imports.h"
#include "validator/content/png-image.h"
#include "workbench.h"

using namespace Validator;

namespace {

constexpr const char *qmlFile = "/usr/share/org.example.app/qml/A.qml";

/// Files that all import the same hundred modules, a third of which the profile objects to.
void qmlImportsByFiles(benchmark::State &state) {
    Workbench bench;
    const std::string content = numbered(33, [](const std::string &number) {
        return "import QtQuick 2.6\nimport Some.Module 1." + number + "\nimport Halyard.X 1." + number + '\n';
    });
    const std::string file = bench.unpack("A.qml", content);
    for (auto _ : state) {
        const auto checker = bench.make<QmlImports>();
        for (std::int64_t i = 0; i < state.range(0); ++i)
            checker->validate(qmlFile, file);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(qmlImportsByFiles)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void qmlImportsByImports(benchmark::State &state) {
    Workbench bench;
    const std::string content = numbered(
        state.range(0), [](const std::string &number) { return "import Some.Module 1." + number + '\n'; });
    measure<QmlImports>(state, bench, qmlFile, bench.unpack("A.qml", content));
}
BENCHMARK(qmlImportsByImports)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void iconByComments(benchmark::State &state) {
    Workbench bench;
    const std::string comments =
        repeated(pngChunk("tEXt", "Comment" + std::string(1000, '\0')), state.range(0));
    const std::string file = bench.unpack("icon", pngSignature() + pngHeader(86, 86) + comments +
                                                      pngChunk("IDAT", deflated(std::string(87 * 86, '\0'))));
    measure<Icon>(state, bench, "/usr/share/icons/hicolor/86x86/apps/org.example.app.png", file);
}
BENCHMARK(iconByComments)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

void manifestByVersions(benchmark::State &state) {
    Workbench bench;
    const std::string content =
        numbered(state.range(0), [](const std::string &number) { return "\"9." + number + "\","; });
    const std::string file = bench.unpack("manifest", "{\"minOSVersion\": [" + content + "\"4.0\"]}");
    measure<Manifest>(state, bench, "/manifest.json", file);
}
BENCHMARK(manifestByVersions)->Arg(500)->Arg(5000)->Arg(50'000)->Complexity()->Unit(benchmark::kMillisecond);

void configurationParameterFileByMembers(benchmark::State &state) {
    Workbench bench;
    const std::string content = numbered(state.range(0), [](const std::string &number) {
        return '"' + number + "\": [true, 1.5, \"text\"],";
    });
    const std::string file = bench.unpack("parameters", '{' + content + "\"last\": 1}");
    measure<ConfigurationParameterFile>(state, bench, "", file);
}
BENCHMARK(configurationParameterFileByMembers)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

} // namespace
