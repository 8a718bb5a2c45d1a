#include "kelp/core/common/errors/descriptor-names.h"

#include <unistd.h>

#include <climits>
#include <string_view>

namespace Common {

namespace {

constexpr std::string_view descriptors = "/proc/self/fd/";

/// Empty for a descriptor that is closed by now; the text after it still names the entry.
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

} // namespace Common
