#pragma once

#include <string>

namespace Validator {

/// A checker of one file. What it finds goes to the report; nothing it finds is an exception.
class ISubValidator {
public:
    virtual ~ISubValidator() = default;

    /// Judges a file: `path` is how the package names it, `realPath` is where it lies unpacked right now.
    virtual void validate(const std::string &path, const std::string &realPath) = 0;
};

} // namespace Validator
