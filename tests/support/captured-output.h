#pragma once

#include <string>

/// Collects what the process writes to one of its standard streams, at the file descriptor, from construction
/// to take() or destruction.
class CapturedOutput {
public:
    enum class Stream { Out = 1, Error = 2 };

    explicit CapturedOutput(Stream stream = Stream::Out);
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;
    ~CapturedOutput();

    /// What was written since construction or the last call.
    std::string take();

private:
    int stream_;
    int original_;
    int file_;
};
