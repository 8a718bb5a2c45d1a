#pragma once

#include <chrono>
#include <string>

namespace KelpCtl {

/// A line on standard error with the progress of a package, if that is a terminal and the package takes
/// longer than a second. It is erased at the end.
class Progress {
public:
    /// With `isAlone` false it shows nothing: several would mix.
    Progress(std::string name, std::size_t total, bool isAlone = true);
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

    void step();

private:
    using Clock = std::chrono::steady_clock;

    std::string name_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool isSeen_;
    bool isShown_ = false;
    Clock::time_point next_;
};

} // namespace KelpCtl
