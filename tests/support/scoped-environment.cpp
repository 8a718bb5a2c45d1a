#include "support/scoped-environment.h"

#include <cstdlib>
#include <utility>

namespace {

void set(const std::string &name, const std::optional<std::string> &value) {
    if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(name.c_str());
}

std::optional<std::string> get(const std::string &name) {
    const char *value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

ScopedEnvironment::ScopedEnvironment(std::string name, std::optional<std::string> value) :
    name_(std::move(name)), old_(get(name_)) {
    set(name_, value);
}

ScopedEnvironment::~ScopedEnvironment() {
    set(name_, old_);
}
