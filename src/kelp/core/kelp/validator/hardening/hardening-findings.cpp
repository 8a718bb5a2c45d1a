#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

namespace Validator {

namespace {

/// By the number of the rule. What no honest package has is an error or critical; the rest are warnings.
constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "mode-half-executable",
     "[{0}] Group or others may execute the file and its owner may not", Subject::File},
    {LogLevel::Error, "desktop-file-second", "[{0}] Only the regular file {1} may lie there", Subject::File},
    {LogLevel::Error, "integrity-file-second", "[{0}] Only the regular file {1} may lie there",
     Subject::File},
    {LogLevel::Error, "directories-too-many", "[{0}] Directories are too many or too deep", Subject::File},
    {LogLevel::Error, "desktop-mime-type-forbidden", "[{0}] Handling this MIME type is not allowed"},
    {LogLevel::Critical, "scripts-other", "[scripts] Triggers and verify scripts are not allowed in RPM"},
    {LogLevel::Error, "dependency-disguised",
     "[{0}] Dependency looks like one on rpm, on the loader or on a file, and is none"},
    {LogLevel::Warning, "dependency-with-slash", "[{0}] Dependency is not checked, as it has a slash"},
    {LogLevel::Error, "file-capabilities", "[{0}] File capabilities are not allowed: {1}", Subject::File},
    {LogLevel::Warning, "file-capabilities-tolerated", "[{0}] File has capabilities: {1}", Subject::File},
    {LogLevel::Error, "owner-not-root-directory", "[{0}] Owners of directory should be root: {1}",
     Subject::File},
    {LogLevel::Warning, "owner-not-root-own-directory", "[{0}] Owners of directory should be root: {1}",
     Subject::File},
    {LogLevel::Warning, "special-mode-bits-directory",
     "[{0}] Directory has the setuid, setgid or sticky bit set", Subject::File},
    {LogLevel::Error, "file-in-place-of-directory", "[{0}] Only a directory can be installed in this place",
     Subject::File},
    {LogLevel::Error, "version-unusable",
     "[{0}] Version and release are not possible as the name of a directory"},
    {LogLevel::Warning, "version-long", "[{0}] Version and release are long"},
    {LogLevel::Warning, "name-of-another", "[{0}] Name is that of another application", Subject::File},
    {LogLevel::Error, "elf-not-a-program",
     "[{0}] No device of the package's architecture would run the program", Subject::File},
    {LogLevel::Error, "elf-interpreter", "[{0}] Loader of the program is not that of the system: {1}",
     Subject::File},
    {LogLevel::Error, "elf-hidden-dynamic", "[{0}] Sections do not show what the loader reads: {1}",
     Subject::File},
    {LogLevel::Error, "elf-loader-hook", "[{0}] Loader would ask something else for symbols: {1}",
     Subject::File},
    {LogLevel::Warning, "elf-foreign-machine", "[{0}] Library is for another machine than the package",
     Subject::File},
    {LogLevel::Warning, "elf-auxiliary", "[{0}] Loader would ask another library for symbols: {1}",
     Subject::File},
    {LogLevel::Warning, "library-not-allowed-elsewhere", "[{0}] Library is not allowed: {1}", Subject::File},
    {LogLevel::Warning, "library-by-path", "[{0}] Library is needed by a path: {1}", Subject::File},
    {LogLevel::Warning, "library-shipped-not-elf",
     "[{0}] Needed library is not in the package, or no ELF file", Subject::File},
    {LogLevel::Warning, "rpath-leaves",
     "[{0}] Rpath leads out of the package and the libraries of the system: {1}", Subject::File},
    {LogLevel::Warning, "rpath-twice", "[{0}] File has several rpaths", Subject::File},
    {LogLevel::Error, "desktop-bytes", "[{0}] Characters are not allowed in a desktop file: {1}",
     Subject::File},
    {LogLevel::Warning, "desktop-direction", "[{0}] Text changes the direction of reading: {1}",
     Subject::File},
    {LogLevel::Error, "integrity-file-ambiguous", "[{0}] File can be read in two ways", Subject::File},
};

} // namespace

Message messageOf(HardeningRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendHardeningFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
