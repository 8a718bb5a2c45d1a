// Both scanners find nothing but pieces of the text, in ascending order, with a module in each; and what they
// call a version is one.

#include "kelp/core/kelp/validator/qml-scanner.h"
#include "support/fuzz-file.h"

#include <functional>

using namespace Validator;

namespace {

bool isWithin(std::string_view piece, std::string_view text) {
    return piece.data() >= text.data() && piece.data() + piece.size() <= text.data() + text.size();
}

void scan(void (*scanner)(std::string_view, const std::function<void(const QmlImport &)> &),
          std::string_view text, const std::function<bool(std::string_view)> &isVersion) {
    const char *last = text.data();
    scanner(text, [&](const QmlImport &import) {
        require(isWithin(import.module, text) && isWithin(import.version, text));
        require(!import.module.empty() && isVersion(import.version));
        require(import.module.data() >= last && import.version.data() >= import.module.data());
        require(import.module.find('\n') == std::string_view::npos);
        last = import.module.data();
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    scan(scanQmlImports, text, [](std::string_view version) {
        return version.find_first_not_of("0123456789.") == std::string_view::npos;
    });
    scan(scanEmbeddedImports, text, isPlainVersion);
    return 0;
}
