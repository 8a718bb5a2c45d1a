#include "kelp/core/common/rpm/current-entry.h"

#include <rpm/rpmmacro.h>

namespace Common::Rpm {

namespace {

constexpr unsigned executeBits = 0111;
/// Without set-id bits: a package cannot grant those by itself.
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

/// The rule of rpm's own signatures. A configuration file may be changed, which breaks its signature, so it
/// takes none unless it is a program or rpm's configuration wants one.
bool isCurrentSignable(rpmfi iterator) {
    if (!(rpmfiFFlags(iterator) & RPMFILE_CONFIG))
        return true;
    return (rpmfiFMode(iterator) & executeBits) != 0 || rpmExpandNumeric("%{?_ima_sign_config_files}") != 0;
}

} // namespace Common::Rpm
