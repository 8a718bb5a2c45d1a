// For any file, create() gives no reader, or one whose walks end and stay within the file. The names of a
// walk are together no longer than the file; a name that several symbols share counts once. As a main binary
// the file fails, or the reader calls it valid. The flags in the report agree with the reader.

#include "kelp/core/kelp/validator/program/elf-reader.h"
#include "kelp/core/kelp/validator/program/executable.h"
#include "support/fuzz-checker.h"
#include "support/fuzz-file.h"

#include <set>

using namespace Validator;

namespace {

void read(const IElfReader *reader, std::size_t size) {
    if (reader == nullptr)
        return;
    std::size_t symbols = 0;
    std::size_t text = 0;
    std::set<const char *> names;
    reader->forEachSymbol([&](const ElfSymbol &symbol) {
        ++symbols;
        text += names.insert(symbol.name.data()).second ? symbol.name.size() : 0;
        return false;
    });
    require(symbols * 16 <= size && text <= size);

    bool rpathSeen = reader->rpath().empty();
    reader->forEachDynamicEntry([&](const ElfDynamicSection &entry) {
        rpathSeen = rpathSeen || entry.value == reader->rpath();
        return false;
    });
    require(rpathSeen || !reader->isValid()); // One that was found to go over its budget is not walked.
    require(reader->rodata().size() <= size);
    require(!reader->isValid() || reader->encoding() == ElfEncoding::LittleEndian);
}

void check(const IElfReader *reader, const FuzzFile &file) {
    const FuzzChecker<Executable> run({"/usr/share/app/lib/libown.so"});
    run.checker->validate("/usr/bin/app", file.path());
    const Logger &report = *run.report;
    require(report.errorSeen() || (reader != nullptr && reader->isValid()));
    require(report.getFlag(ValidatorFlag::MainBinarySeen) == (reader != nullptr));
    require(report.getFlag(ValidatorFlag::ElfSeen) == (reader != nullptr && reader->isValid()));
    require(report.getFlag(ValidatorFlag::RpathPresent) == (reader != nullptr && !reader->rpath().empty()));
    require(report.getFlag(ValidatorFlag::RpathPresent) || !report.getFlag(ValidatorFlag::RpathAcceptable));
    run.checker->finish();
    require(!report.criticalSeen());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    const auto reader = ElfReader::create(file.path());
    read(reader.get(), size);
    check(reader.get(), file);
    return 0;
}
