#include "kelp/core/kelp/validator/program/program-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "libc-start-main-missing", "[binary] Binary does not link to __libc_start_main"},
    {LogLevel::Warning, "main-not-exported",
     "[binary] Binary does not export main() symbol - booster might fail"},
    {LogLevel::Error, "main-must-be-exported",
     "[binary] Binary must export main() symbol for booster to work (Q_DECL_EXPORT)"},
    {LogLevel::Warning, "rpath-empty", "[rpath] The rpath in binary is empty"},
    {LogLevel::Warning, "rpath-not-allowed", "[rpath] This rpath in binary is not allowed"},
    {LogLevel::Error, "rpath-missing", "[rpath] Rpath is missing where it is mandatory"},
    {LogLevel::Error, "main-binary-forbidden",
     "[binary] Main binary must not exist. Desktop file uses halyard-qml"},
    {LogLevel::Error, "main-binary-missing", "[binary] Main binary must exist, but it is not found"},
    {LogLevel::Error, "libexec-not-elf",
     "[{0}] Installation not allowed in this location: bad executable format", Subject::File},
    {LogLevel::Warning, "noarch-with-programs",
     "[arch] RPMs containing arch-specific content should not be noarch"},
    {LogLevel::Error, "executable-format", "[{0}] Executable has a wrong format or encoding", Subject::File},
    {LogLevel::Error, "executable-location", "[{0}] Executable is in wrong location", Subject::File},
    {LogLevel::Error, "main-binary-not-executable", "[binary] Main binary must be an executable"},
    {LogLevel::Warning, "library-unstable", "[{0}] Library is unstable or deprecated"},
    {LogLevel::Error, "library-not-allowed", "[{0}] Library is not allowed"},
};

} // namespace

Message messageOf(ExecutableRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendProgramFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
