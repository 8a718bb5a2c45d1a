#include "support/scoped-environment.h"

#include <cstdlib>
#include <utility>

ScopedEnvironment::ScopedEnvironment(std::string name, std::optional<std::string> value) :
    name_(std::move(name)) {
    if (const char *old = std::getenv(name_.c_str()))
        old_ = old;
    set(value);
}

ScopedEnvironment::~ScopedEnvironment() {
    set(old_);
}

void ScopedEnvironment::set(const std::optional<std::string> &value) const {
    value ? ::setenv(name_.c_str(), value->c_str(), 1) : ::unsetenv(name_.c_str());
}
