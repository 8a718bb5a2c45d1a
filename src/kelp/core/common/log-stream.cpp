#include "kelp/core/common/log-stream.h"

#include <iostream>

namespace Common {

namespace {

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

} // namespace

LogStream::~LogStream() {
    if (stream_.tellp() <= 0)
        return;
    std::cout << prefix(level_) << stream_.view() << '\n' << std::flush;
}

} // namespace Common
