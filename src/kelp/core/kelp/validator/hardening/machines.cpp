#include "kelp/core/kelp/validator/hardening/machines.h"

#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include <elf.h>

#include <algorithm>

namespace Validator {

namespace {

struct LoaderRow {
    ElfMachine machine;
    std::string_view loader;
};

constexpr ElfMachine aarch64{EM_AARCH64, ElfClass::Bits64};
constexpr ElfMachine arm{EM_ARM, ElfClass::Bits32};
constexpr ElfMachine x86_64{EM_X86_64, ElfClass::Bits64};
constexpr ElfMachine x86{EM_386, ElfClass::Bits32};

constexpr LoaderRow loaders[] = {
    {aarch64, "ld-linux-aarch64.so.1"},
    {arm, "ld-linux-armhf.so.3"},
    {x86_64, "ld-linux-x86-64.so.2"},
    {x86, "ld-linux.so.2"},
};

constexpr std::string_view loaderDirectories[] = {"/lib/", "/lib64/", "/usr/lib/", "/usr/lib64/"};

/// The architectures of packages by the beginnings of their names, "armv7hl" for example.
struct ArchitectureRow {
    std::string_view beginning;
    ElfMachine machine;
    ElfMachine companion;
    std::string_view machines; ///< The two, as readelf(1) names them.
};

constexpr ArchitectureRow architectures[] = {
    {"aarch64", aarch64, arm, "AArch64, ARM"},
    {"arm", arm, arm, "ARM"},
    {"x86_64", x86_64, x86, "Advanced Micro Devices X86-64, Intel 80386"},
    {"i3", x86, x86, "Intel 80386"},
    {"i4", x86, x86, "Intel 80386"},
    {"i5", x86, x86, "Intel 80386"},
    {"i6", x86, x86, "Intel 80386"},
};

const LoaderRow *rowOf(const ElfMachine &machine) {
    const auto *row = std::ranges::find(loaders, machine, &LoaderRow::machine);
    return row == std::end(loaders) ? nullptr : row;
}

} // namespace

ElfClass bitsOf(std::uint16_t machine) {
    const auto *row =
        std::ranges::find_if(loaders, [&](const LoaderRow &r) { return r.machine.machine == machine; });
    return row == std::end(loaders) ? ElfClass::Unknown : row->machine.bits;
}

bool isOfArchitecture(const ElfMachine &machine, std::string_view architecture) {
    const auto *row = std::ranges::find_if(
        architectures, [&](const ArchitectureRow &r) { return architecture.starts_with(r.beginning); });
    if (row == std::end(architectures))
        return rowOf(machine) != nullptr;
    return machine == row->machine || machine == row->companion;
}

bool isLoaderOf(const ElfMachine &machine, std::string_view path) {
    const LoaderRow *row = rowOf(machine);
    return row != nullptr && std::ranges::any_of(loaderDirectories, [&](std::string_view directory) {
               return path.starts_with(directory) && path.substr(directory.size()) == row->loader;
           });
}

void appendHardeningRules(Rules &rules) {
    for (const LoaderRow &row : loaders)
        for (const std::string_view directory : loaderDirectories)
            rules.push_back({"interpreter", "allowed", std::string(directory) + std::string(row.loader)});
    for (const ArchitectureRow &row : architectures)
        rules.push_back(
            {"architecture", "allowed", std::string(row.beginning) + "*=" + std::string(row.machines)});
    rules.push_back({"mime-type", "forbidden", std::string(olderNameOfRpm)});
}

} // namespace Validator
