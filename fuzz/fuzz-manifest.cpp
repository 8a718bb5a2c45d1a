// Any file gets the same verdict each time it is asked for.

#include "kelp/core/kelp/validator/data/manifest.h"
#include "support/fuzz-checker.h"
#include "support/fuzz-file.h"

#include <cstdlib>
#include <fstream>

using namespace Validator;

namespace {

/// A root directory with a system version, for as long as the program runs.
class Root {
public:
    Root() {
        std::string path = std::filesystem::temp_directory_path() / "kelp-fuzz-XXXXXX";
        require(::mkdtemp(path.data()) != nullptr);
        path_ = path;
        std::filesystem::create_directory(path_ / "etc");
        std::ofstream(path_ / "etc/os-release") << "VERSION_ID=4.0.2\n";
        require(::setenv("KELP_ROOT_FS", path_.c_str(), 1) == 0);
    }
    ~Root() { std::filesystem::remove_all(path_); }

private:
    std::filesystem::path path_;
};

/// Whether the manifest fails.
bool verdict(const FuzzFile &file) {
    const FuzzChecker<Manifest> run;
    run.checker->validate("/manifest.json", file.path());
    require(!run.report->criticalSeen());
    return run.report->errorSeen();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Root root;
    const FuzzFile file(data, size);
    const bool first = verdict(file);
    require(verdict(file) == first);
    require(size >= sizeof R"({"minOSVersion":""})" || first);
    return 0;
}
