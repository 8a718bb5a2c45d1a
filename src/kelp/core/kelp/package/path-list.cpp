#include "kelp/core/kelp/package/path-list.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"

#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

void logUnreadable(const fs::path &file) {
    Common::LogStream(Common::LogLevel::Warning) << "Couldn't open file: " << file;
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
    try {
        if (const auto content = Common::readIfExists(file))
            return pathsIn(*content);
    } catch (const Common::Error &) {
        // As an absent one: nothing to go by, nothing to remove.
    }
    logUnreadable(file);
    return {};
}

std::optional<std::vector<fs::path>> findPathList(const fs::path &file) {
    try {
        return requirePathList(file);
    } catch (const Common::Error &) {
        logUnreadable(file);
        return std::nullopt;
    }
}

void writePathList(const fs::path &file, const std::vector<fs::path> &paths, Common::Durability durability) {
    std::string content;
    for (const fs::path &path : paths)
        if (path.native().find('\n') == std::string::npos)
            content += path.string() + "\n";
    Common::replaceFile(file, content, durability);
}

} // namespace Core::KELP
