// Any file is a PNG with dimensions or ends in the one error; so does its text as a data URL.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/validator/data/icon.h"
#include "support/fuzz-file.h"

#include <string>

using namespace Validator;

namespace {

template<class Read>
void readOrFail(const Read &read) {
    try {
        const PngSize size = read();
        require(size.width > 0 && size.height > 0);
    } catch (const Common::Error &) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const FuzzFile file(data, size);
    readOrFail([&] { return readPngSize(file.path()); });
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    readOrFail([&] { return readPngSizeFromDataUrl(text); });
    readOrFail([&] { return readPngSizeFromDataUrl("data:image/png;base64," + std::string(text)); });
    return 0;
}
