#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>

namespace Common {

/// Replaces each "/proc/self/fd/N" in a text by the name of that open file, or by "..." if none is open.
/// Calls that take only paths reach open directories and files that way. The number tells a reader nothing.
std::string withNames(std::string text);

enum class LogLevel : std::int32_t {
    Info = 0,    ///< "[I] "
    Warning = 1, ///< "[W] "
    Error = 2,   ///< "[E] "
    Event = 3,   ///< no prefix
};

/// Whether systemd has connected standard output with the journal: there each line is a record.
bool isOutputTheJournal();

/// One log message: made, filled with operator<< and printed, all in one statement.
///
///     LogStream(LogLevel::Warning) << "Couldn't open file: " << path;
///
/// The destructor writes the level's prefix, the text and a line feed to standard output, and flushes it. A
/// message without text prints nothing. A std::filesystem::path is printed in double quotes, an exception as
/// its what(). Paths below /proc/self/fd become names (withNames()). If systemd collects standard output for
/// its journal, each line begins with the level's priority, for example "<3>" for an error. A line that
/// cannot be written is lost, and nothing is raised.
class LogStream {
public:
    explicit LogStream(LogLevel level) : level_(level) {}
    LogStream(const LogStream &) = delete;
    LogStream &operator=(const LogStream &) = delete;
    ~LogStream();

    /// From now on passes all messages through `shown`, for a program that prints them on a terminal: they
    /// hold foreign names. Call it before there are threads.
    static void showBy(std::string (*shown)(std::string_view));

    template<class Value>
    LogStream &operator<<(const Value &value) {
        if constexpr (std::derived_from<Value, std::exception>)
            stream_ << value.what();
        else
            stream_ << value;
        return *this;
    }

private:
    LogLevel level_;
    std::ostringstream stream_;
};

} // namespace Common
