#include "kelp/core/common/errors/log-stream.h"

#include "kelp/core/common/errors/descriptor-names.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace Common {

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
