// Any file is refused or gives a list no longer than it could hold.

#include "kelp/core/kelp/validator/data/integrityd.h"
#include "support/fuzz-file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    const auto watched = Validator::readWatchedFiles(file.path());
    require(!watched || watched->size() <= size);
    return 0;
}
