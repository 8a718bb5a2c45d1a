// Any line is refused or gives a record; a record without odd characters in it survives being written and
// read.

#include "kelp/core/kelp/registry/registry-record.h"
#include "support/fuzz-file.h"

#include <iostream>
#include <sstream>

using namespace Core::KELP;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    // The log of a million odd lines would be most of the run.
    static std::ostringstream log;
    static const auto *const silenced = std::cout.rdbuf(log.rdbuf());
    static_cast<void>(silenced);
    log.str({});

    const auto record = parseRecord(std::string(reinterpret_cast<const char *>(data), size));
    if (!record)
        return 0;
    require(!record->packageId().empty() && !record->keyId().empty());
    const std::string line = formatRecord(*record);
    const auto again = parseRecord(line);
    require(again && formatRecord(*again) == line);
    return 0;
}
