#include "kelpctl/command-line.h"

#include "kelp/core/kelp/validator/framework/logger.h"

#include <unistd.h>

#include <iostream>

int main(int argc, char **argv) {
    const auto request = KelpCtl::parseCommandLine(argc, argv);
    if (const auto *status = std::get_if<KelpCtl::ExitStatus>(&request))
        return static_cast<int>(*status);

    Validator::Logger::setColoured(::isatty(STDERR_FILENO) != 0);
    // Standard output is for the verdicts: what the core logs there goes to the report.
    std::ostream verdicts(std::cout.rdbuf(std::cerr.rdbuf()));
    const auto status = KelpCtl::validatePackages(std::get<KelpCtl::ValidateOptions>(request), verdicts);
    std::cout.rdbuf(verdicts.rdbuf());
    return static_cast<int>(status);
}
