#include "kelp/core/kelp/validator/program/program-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[binary] Binary does not link to __libc_start_main"},
    {LogLevel::Warning, "[binary] Binary does not export main() symbol - booster might fail"},
    {LogLevel::Error, "[binary] Binary must export main() symbol for booster to work (Q_DECL_EXPORT)"},
    {LogLevel::Warning, "[rpath] The rpath in binary is empty"},
    {LogLevel::Warning, "[rpath] This rpath in binary is not allowed"},
    {LogLevel::Error, "[rpath] Rpath is missing where it is mandatory"},
    {LogLevel::Error, "[binary] Main binary must not exist. Desktop file uses halyard-qml"},
    {LogLevel::Error, "[binary] Main binary must exist, but it is not found"},
    {LogLevel::Error, "[{0}] Installation not allowed in this location: bad executable format"},
    {LogLevel::Warning, "[arch] RPMs containing arch-specific content should not be noarch"},
    {LogLevel::Error, "[{0}] Executable has a wrong format or encoding"},
    {LogLevel::Error, "[{0}] Executable is in wrong location"},
    {LogLevel::Error, "[binary] Main binary must be an executable"},
    {LogLevel::Warning, "[{0}] Library is unstable or deprecated"},
    {LogLevel::Error, "[{0}] Library is not allowed"},
};

} // namespace

Message messageOf(ExecutableRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
