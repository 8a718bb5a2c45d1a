#include "kelp/core/kelp/inspection/removal-view.h"

#include "kelp/core/common/durable-file.h"
#include "kelp/core/common/file-name.h"
#include "kelp/core/common/root-path.h"
#include "kelp/core/kelp/inspection/readable.h"

namespace Core::KELP {

std::filesystem::path removalFile() {
    return Common::belowRoot("var/lib/kelp/removal");
}

std::optional<std::string> unfinishedRemoval() {
    requireReadable(removalFile());
    const std::string text = Common::readIfExists(removalFile()).value_or("");
    // A text that leads elsewhere is no id: to complete that removal would remove what lies there.
    return Common::asFileName(text.substr(0, text.find('\n')));
}

} // namespace Core::KELP
