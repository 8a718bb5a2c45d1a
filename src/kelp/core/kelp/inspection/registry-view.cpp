#include "kelp/core/kelp/inspection/registry-view.h"

#include "kelp/core/common/durable-file.h"
#include "kelp/core/common/root-path.h"
#include "kelp/core/kelp/inspection/readable.h"

#include <optional>
#include <sstream>

namespace Core::KELP {

std::vector<RegistryRecord> registryRecords() {
    const std::filesystem::path file = Common::belowRoot("var/lib/kelp/registry");
    requireReadable(file);
    std::vector<RegistryRecord> records;
    std::istringstream lines(Common::readIfExists(file).value_or(""));
    for (std::string line; std::getline(lines, line);)
        if (!line.empty())
            if (auto record = parseRecord(line))
                records.push_back(std::move(*record));
    return records;
}

} // namespace Core::KELP
