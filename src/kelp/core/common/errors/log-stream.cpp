#include "kelp/core/common/errors/log-stream.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace Common {

namespace {

constexpr std::string_view descriptors = "/proc/self/fd/";

/// "..." for a descriptor that is closed by now; the text after it still names the entry.
std::string nameOf(const std::string &descriptor) {
    char name[PATH_MAX];
    const ssize_t size = ::readlink(descriptor.c_str(), name, sizeof name);
    return size > 0 ? std::string(name, static_cast<std::size_t>(size)) : "...";
}

} // namespace

std::string withNames(std::string text) {
    for (std::size_t at = 0; (at = text.find(descriptors, at)) != std::string::npos;) {
        const std::size_t end = text.find_first_not_of("0123456789", at + descriptors.size());
        const std::size_t size = (end == std::string::npos ? text.size() : end) - at;
        const std::string name = nameOf(text.substr(at, size));
        text.replace(at, size, name);
        at += name.size();
    }
    return text;
}

namespace {

/// The journal's mark of a line's priority (sd-daemon(3)).
std::string_view priority(LogLevel level) {
    switch (level) {
    case LogLevel::Error:
        return "<3>";
    case LogLevel::Warning:
        return "<4>";
    case LogLevel::Event:
        return "<5>";
    case LogLevel::Info:
        break;
    }
    return "<6>";
}

/// Puts the priority in front of each line. Otherwise further lines would count as information, and a foreign
/// text could choose its own priority.
std::string withPriority(LogLevel level, std::string_view message) {
    std::string lines(priority(level));
    for (const char character : message) {
        lines += character;
        if (character == '\n')
            lines += priority(level);
    }
    return lines;
}

const char *prefix(LogLevel level) {
    switch (level) {
    case LogLevel::Info:
        return "[I] ";
    case LogLevel::Warning:
        return "[W] ";
    case LogLevel::Error:
        return "[E] ";
    case LogLevel::Event:
        break;
    }
    return "";
}

std::string (*shownBy)(std::string_view) = nullptr;

} // namespace

bool isOutputTheJournal() {
    // systemd names in this variable, as "DEVICE:INODE", the stream that it has connected with the journal.
    const char *stream = std::getenv("JOURNAL_STREAM");
    struct stat output {};
    return stream && ::fstat(STDOUT_FILENO, &output) == 0 &&
           stream == std::to_string(output.st_dev) + ":" + std::to_string(output.st_ino);
}

void LogStream::showBy(std::string (*shown)(std::string_view)) {
    shownBy = shown;
}

LogStream::~LogStream() {
    if (stream_.tellp() <= 0)
        return;
    // Flushed line by line, so that a killed run loses no line.
    const std::string text = withNames(std::move(stream_).str());
    const std::string message = prefix(level_) + (shownBy ? shownBy(text) : text);
    std::cout << (isOutputTheJournal() ? withPriority(level_, message) : message) << '\n' << std::flush;
    // A line that cannot be written is lost, without a failure; the next one may succeed.
    std::cout.clear();
}

} // namespace Common
