// Any kelp.conf gives four paths below the root prefix, and the same ones each time it is loaded.

#include "kelp/core/common/configuration.h"
#include "support/fuzz-file.h"

#include <cstdlib>
#include <iostream>
#include <sstream>

namespace {

const std::string root = "/nonexistent/root";

void prepare() {
    require(::setenv("KELP_ROOT_FS", root.c_str(), 1) == 0);
    // The log of a million malformed files would be most of the run.
    std::cout.rdbuf(nullptr);
    std::cerr.rdbuf(nullptr);
}

void check(const std::filesystem::path &first, const std::filesystem::path &second) {
    require(first.native().starts_with(root) && first == second);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const bool isPrepared = (prepare(), true);
    static_cast<void>(isPrepared);
    const FuzzFile file(data, size);
    const Core::Configuration first(file.path());
    const Core::Configuration second(file.path(), Core::Configuration::Missing::IsFine);
    check(first.databaseDirectory(), second.databaseDirectory());
    check(first.tempDirectory(), second.tempDirectory());
    check(first.hookDirectory(), second.hookDirectory());
    check(first.trustedSourcesDatabasePath(), second.trustedSourcesDatabasePath());
    return 0;
}
