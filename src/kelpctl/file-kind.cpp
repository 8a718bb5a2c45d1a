#include "kelpctl/file-kind.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace KelpCtl {

namespace {

using std::string_view_literals::operator""sv;

constexpr std::string_view rpmMagic = "\xed\xab\xee\xdb";
constexpr std::size_t rpmTypeOffset = 6; ///< Of two bytes, the high one first.
constexpr std::string_view sourceType = "\0\1"sv;
constexpr std::string_view debianMagic = "!<arch>\ndebian";
constexpr std::string_view specEnding = ".spec";

/// Empty for anything but a regular file: a pipe would block.
std::string beginningOf(const std::string &path) {
    const Common::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    std::array<char, 16> bytes{};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const ssize_t size = ::read(file.get(), bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

} // namespace

FileKind kindOf(const std::string &file) {
    const std::string beginning = beginningOf(file);
    if (beginning.starts_with(rpmMagic))
        return beginning.compare(rpmTypeOffset, sourceType.size(), sourceType) == 0 ? FileKind::SourcePackage
                                                                                    : FileKind::Other;
    if (beginning.starts_with(debianMagic))
        return FileKind::DebianPackage;
    return !beginning.empty() && file.ends_with(specEnding) ? FileKind::SpecFile : FileKind::Other;
}

std::string adviceOn(FileKind kind) {
    constexpr const char *advice[] = {
        "",
        "It is a source package: build it by rpmbuild --rebuild, and take the package that comes out",
        "It is a Debian package: applications are rpm packages, which rpmbuild makes of a .spec file",
        "It is a .spec file: build it by rpmbuild -bb, and take the package that comes out",
    };
    return advice[static_cast<std::size_t>(kind)];
}

} // namespace KelpCtl
