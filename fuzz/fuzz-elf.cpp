// Any file makes no reader or one whose walks end, read within the file and hand out no more than it holds.

#include "kelp/core/kelp/validator/elf-reader.h"
#include "support/fuzz-file.h"

using namespace Validator;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    const auto reader = ElfReader::create(file.path());
    if (!reader)
        return 0;
    std::size_t symbols = 0;
    std::size_t text = 0;
    reader->forEachSymbol([&](const ElfSymbol &symbol) {
        ++symbols;
        text += symbol.name.size();
        return false;
    });
    require(symbols * 16 <= size && text <= size);

    bool rpathSeen = reader->rpath().empty();
    reader->forEachDynamicEntry([&](const ElfDynamicSection &entry) {
        rpathSeen = rpathSeen || entry.value == reader->rpath();
        return false;
    });
    require(rpathSeen);
    require(reader->rodata().size() <= size);
    require(!reader->isValid() || reader->encoding() == ElfEncoding::LittleEndian);
    return 0;
}
