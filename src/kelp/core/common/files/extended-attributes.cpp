#include "kelp/core/common/files/extended-attributes.h"

#include "kelp/core/common/errors/error.h"

#include <sys/xattr.h>

#include <cerrno>
#include <cstring>

namespace Common {

namespace {

std::size_t checked(ssize_t result, const std::string &message) {
    if (result < 0)
        throw Error(ErrorCode::Filesystem, message)
            .causedBy(std::system_error(errno, std::generic_category()));
    return static_cast<std::size_t>(result);
}

} // namespace

void setExtendedAttribute(const std::filesystem::path &path, const std::string &name,
                          const std::string &value) {
    if (value.empty())
        return;
    checked(::lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0),
            "Couldn't attach " + name + " extended attribute to " + path.string());
}

std::string extendedAttribute(const std::filesystem::path &path, const std::string &name) {
    std::string value(checked(::getxattr(path.c_str(), name.c_str(), nullptr, 0),
                              "Couldn't retrieve size of " + name + " extended attribute: " + path.string()),
                      '\0');
    // It may have become shorter in between.
    value.resize(checked(::getxattr(path.c_str(), name.c_str(), value.data(), value.size()),
                         "Couldn't retrieve " + name + " extended attribute: " + path.string()));
    return value;
}

std::vector<std::pair<std::string, std::string>> extendedAttributes(const std::filesystem::path &path) {
    const ssize_t size = ::listxattr(path.c_str(), nullptr, 0);
    // A filesystem without attributes, such as that of a memory card, has files without any.
    if (size == 0 || (size < 0 && errno == EOPNOTSUPP))
        return {};
    std::string names(checked(size, "Couldn't retrieve size of extended attributes: " + path.string()), '\0');
    names.resize(checked(::listxattr(path.c_str(), names.data(), names.size()),
                         "Couldn't retrieve extended attributes: " + path.string()));

    std::vector<std::pair<std::string, std::string>> attributes;
    // One name after the other, each with a zero at its end.
    for (std::size_t position = 0; position < names.size();) {
        const std::string name(names.c_str() + position);
        attributes.emplace_back(name, extendedAttribute(path, name));
        position += name.size() + 1;
    }
    return attributes;
}

} // namespace Common
