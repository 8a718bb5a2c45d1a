#pragma once

#include <optional>
#include <string>

/// Sets an environment variable, or unsets it, and puts the old value back at the end.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, std::optional<std::string> value);
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;
    ~ScopedEnvironment();

private:
    void set(const std::optional<std::string> &value) const;

    std::string name_;
    std::optional<std::string> old_;
};
