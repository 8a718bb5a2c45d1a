#include "kelp/core/common/platform-facts.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"

#include <sys/utsname.h>

#include <fstream>
#include <string_view>

namespace Common {

namespace {

/// A pipe counts as absent.
std::ifstream openBelowRoot(const char *name) {
    const std::filesystem::path path = belowRoot(name);
    return isPipe(path) ? std::ifstream() : std::ifstream(path);
}

std::string configuredArchitecture() {
    std::ifstream file = openBelowRoot("etc/rpm/platform");
    std::string word;
    file >> word;
    return word.substr(0, word.find('-'));
}

std::string machineName() {
    utsname names{};
    return ::uname(&names) == 0 ? names.machine : "";
}

} // namespace

std::string osVersion() {
    constexpr std::string_view key = "VERSION_ID=";
    std::ifstream file = openBelowRoot("etc/os-release");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(key))
            return line.substr(key.size());
    throw Error(ErrorCode::Internal, "Couldn't retrieve Velura OS version");
}

std::string platformArchitecture() {
    std::string architecture = configuredArchitecture();
    if (architecture.empty())
        architecture = machineName();
    if (architecture.empty())
        throw Error(ErrorCode::Internal, "Couldn't get platform architecture");
    return architecture;
}

} // namespace Common
