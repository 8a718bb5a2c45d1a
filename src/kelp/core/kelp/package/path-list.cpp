#include "kelp/core/kelp/package/path-list.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"

#include <optional>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

std::optional<std::string> readIfPossible(const fs::path &file) {
    try {
        return Common::readIfExists(file);
    } catch (const Common::Error &) {
        return std::nullopt;
    }
}

std::vector<fs::path> pathsIn(const std::string &content) {
    std::vector<fs::path> paths;
    std::istringstream stream(content);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty())
            paths.emplace_back(line, fs::path::generic_format);
    return paths;
}

} // namespace

std::vector<fs::path> requirePathList(const fs::path &file) {
    return pathsIn(Common::readIfExists(file).value_or(""));
}

std::vector<fs::path> readPathList(const fs::path &file) {
    const std::optional<std::string> content = readIfPossible(file);
    // Nothing to go by, nothing to remove: a list that cannot be read takes nothing from the system.
    if (!content) {
        Common::LogStream(Common::LogLevel::Warning) << "Couldn't open file: " << file;
        return {};
    }
    return pathsIn(*content);
}

void writePathList(const fs::path &file, const std::vector<fs::path> &paths, Common::Durability durability) {
    std::string content;
    for (const fs::path &path : paths)
        if (path.native().find('\n') == std::string::npos)
            content += path.string() + "\n";
    Common::replaceFile(file, content, durability);
}

} // namespace Core::KELP
