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

/// Without the text after the last line feed: the beginning of a path may be a foreign link, such as
/// "/usr/bin/sh", and a removal goes by the list.
std::vector<std::string> pathsIn(std::string content) {
    content.erase(content.rfind('\n') + 1);
    std::vector<std::string> paths;
    std::istringstream stream(std::move(content));
    for (std::string line; std::getline(stream, line);)
        if (!line.empty())
            paths.push_back(line);
    return paths;
}

} // namespace

std::vector<std::string> requirePathList(const fs::path &file) {
    return pathsIn(Common::readIfExists(file).value_or(""));
}

std::vector<std::string> readPathList(const fs::path &file) {
    try {
        if (auto content = Common::readIfExists(file))
            return pathsIn(std::move(*content));
    } catch (const Common::Error &) {
        // Treated as absent: then nothing is removed.
    }
    logUnreadable(file);
    return {};
}

std::optional<std::vector<std::string>> findPathList(const fs::path &file) {
    try {
        return requirePathList(file);
    } catch (const Common::Error &) {
        logUnreadable(file);
        return std::nullopt;
    }
}

bool isTornPathList(const fs::path &file) {
    const std::string content = Common::readIfExists(file).value_or("");
    return !content.empty() && !content.ends_with('\n');
}

void writePathList(const fs::path &file, const std::vector<std::string> &paths,
                   Common::Durability durability) {
    std::string content;
    std::size_t size = 0;
    for (const std::string &path : paths)
        size += path.size() + 1;
    content.reserve(size);
    for (const std::string &path : paths)
        if (path.find('\n') == std::string::npos)
            content.append(path).append("\n");
    Common::replaceFile(file, content, durability);
}

} // namespace Core::KELP
