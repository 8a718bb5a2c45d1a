#include "kelpctl/validate/run/machine-limits.h"

#include <sched.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

constexpr const char *groupRoot = "/sys/fs/cgroup";

/// The directories of this process's control group and those above it. Those of the old kind, which have one
/// for each resource, are not looked at.
std::vector<fs::path> controlGroups() {
    std::vector<fs::path> groups;
    std::ifstream file("/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        constexpr std::string_view beginning = "0::/";
        if (!line.starts_with(beginning))
            continue;
        for (fs::path group = line.substr(beginning.size()); !group.empty(); group = group.parent_path())
            groups.push_back(groupRoot / group);
        // In a container this is its own group.
        groups.emplace_back(groupRoot);
    }
    return groups;
}

/// As many as there are of the numbers in a file; "max" is none.
std::vector<double> numbersIn(const fs::path &path) {
    std::ifstream file(path);
    std::vector<double> numbers;
    for (double number = 0; file >> number;)
        numbers.push_back(number);
    return numbers;
}

std::uint64_t availableMemory() {
    std::ifstream file("/proc/meminfo");
    for (std::string word; file >> word;)
        if (std::uint64_t kibibytes = 0; word == "MemAvailable:" && file >> kibibytes)
            return kibibytes << 10U;
    return 0;
}

} // namespace

std::size_t usableProcessors() {
    cpu_set_t mask;
    std::size_t count =
        ::sched_getaffinity(0, sizeof mask, &mask) == 0 ? static_cast<std::size_t>(CPU_COUNT(&mask)) : 1;
    for (const fs::path &group : controlGroups())
        if (const auto numbers = numbersIn(group / "cpu.max"); numbers.size() == 2 && numbers[1] > 0)
            // A part of a processor is worth a judge: the others wait for files meanwhile.
            count = std::min(count, static_cast<std::size_t>((numbers[0] + numbers[1] - 1) / numbers[1]));
    return std::max<std::size_t>(count, 1);
}

std::uint64_t usableMemory() {
    std::uint64_t least = availableMemory();
    for (const fs::path &group : controlGroups()) {
        const auto most = numbersIn(group / "memory.max");
        const auto taken = numbersIn(group / "memory.current");
        if (most.size() == 1 && taken.size() == 1)
            least = std::min(least, static_cast<std::uint64_t>(std::max(0.0, most[0] - taken[0])));
    }
    return least;
}

} // namespace KelpCtl
