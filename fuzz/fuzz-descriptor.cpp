// Any file is refused with the one error or has all required keys with values.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "support/fuzz-file.h"

using namespace Core::KELP;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    try {
        const PackageInformation information = readDescriptor(file.path());
        for (const char *key : requiredDescriptorKeys)
            require(!information.at(key).empty());
    } catch (const Common::Error &) {
    }
    return 0;
}
