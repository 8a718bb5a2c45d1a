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

/// The directories of this process's control group and those above it. Ignores groups of the old kind, which
/// have a hierarchy for each resource.
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

/// The numbers in a file; "max" is none.
std::vector<double> numbersIn(const fs::path &path) {
    std::ifstream file(path);
    std::vector<double> numbers;
    for (double number = 0; file >> number;)
        numbers.push_back(number);
    return numbers;
}

/// The number after a word in a file; 0 without the word.
double numberAfter(const std::string &wanted, const fs::path &path) {
    std::ifstream file(path);
    for (std::string word; file >> word;)
        if (double number = 0; word == wanted && file >> number)
            return number;
    return 0;
}

} // namespace

std::size_t usableProcessors() {
    cpu_set_t mask;
    std::size_t count =
        ::sched_getaffinity(0, sizeof mask, &mask) == 0 ? static_cast<std::size_t>(CPU_COUNT(&mask)) : 1;
    for (const fs::path &group : controlGroups())
        if (const auto numbers = numbersIn(group / "cpu.max"); numbers.size() == 2 && numbers[1] > 0)
            // Rounded up: a part of a processor is worth a judge, since others wait for files meanwhile.
            count = std::min(count, static_cast<std::size_t>((numbers[0] + numbers[1] - 1) / numbers[1]));
    return std::max<std::size_t>(count, 1);
}

std::uint64_t usableMemory() {
    constexpr double kibibyte = 1024;
    double least = numberAfter("MemAvailable:", "/proc/meminfo") * kibibyte;
    for (const fs::path &group : controlGroups()) {
        const auto most = numbersIn(group / "memory.max");
        const auto current = numbersIn(group / "memory.current");
        if (most.size() == 1 && current.size() == 1)
            // The cache of files that were read is given up when memory is needed. A group that reads a stock
            // reaches its bound by that cache alone.
            least =
                std::min(least, most[0] - current[0] + numberAfter("inactive_file", group / "memory.stat"));
    }
    return static_cast<std::uint64_t>(std::max(0.0, least));
}

} // namespace KelpCtl
