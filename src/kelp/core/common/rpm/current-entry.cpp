#include "kelp/core/common/rpm/current-entry.h"

#include <rpm/rpmmacro.h>

namespace Common::Rpm {

namespace {

constexpr unsigned executeBits = 0111;
/// To run as somebody else is nothing that a package can give a file by itself.
constexpr unsigned permissionBits = 0777;

std::filesystem::path pathOf(const char *text) {
    return text ? text : "";
}

} // namespace

std::filesystem::path currentPath(rpmfi iterator) {
    return pathOf(rpmfiFN(iterator));
}

std::filesystem::path currentTarget(rpmfi iterator) {
    return pathOf(rpmfiFLink(iterator));
}

std::filesystem::perms currentPermissions(rpmfi iterator) {
    return std::filesystem::perms{rpmfiFMode(iterator) & permissionBits};
}

/// By the rule by which rpm itself writes such signatures: a configuration file is there to be changed, which
/// no signature survives, unless it is a program or rpm's configuration wants it.
bool isCurrentSignable(rpmfi iterator) {
    if (!(rpmfiFFlags(iterator) & RPMFILE_CONFIG))
        return true;
    return (rpmfiFMode(iterator) & executeBits) != 0 || rpmExpandNumeric("%{?_ima_sign_config_files}") != 0;
}

} // namespace Common::Rpm
