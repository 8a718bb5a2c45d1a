#pragma once

#include <filesystem>
#include <string>

/// A package that the build made of a .spec file in specs/.
inline std::filesystem::path package(const std::string &name) {
    return std::filesystem::path(KELP_RPMS) / (name + ".rpm");
}
