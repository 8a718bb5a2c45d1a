// Any text is refused or gives a list that leads nowhere outside of a version, and survives being written and
// read.

#include "kelp/core/kelp/package/contents-list.h"
#include "support/fuzz-file.h"

#include <algorithm>

using namespace Core::KELP;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto list = ContentsList::parse(std::string(reinterpret_cast<const char *>(data), size));
    if (!list)
        return 0;
    for (const ContentsEntry &entry : list->entries) {
        const std::filesystem::path path = entry.path;
        require(path.is_relative() && std::ranges::find(path, "..") == path.end() && !isStoreOwn(entry.path));
    }
    const auto again = ContentsList::parse(list->format());
    require(again && again->foundOn == list->foundOn && again->entries == list->entries);
    return 0;
}
