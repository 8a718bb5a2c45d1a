#include "kelp/core/common/rpm/database-presence.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/transaction.h"

#include <rpm/rpmmacro.h>

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace Common::Rpm {

namespace {

[[noreturn]] void raise(const std::string &reason) {
    throw Error(ErrorCode::Internal, "Couldn't read the rpm database: " + reason);
}

[[noreturn]] void raiseFor(const std::string &path) {
    raise(path + ": " + std::strerror(errno));
}

bool isAbsence(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// For glob(3): an existing directory that cannot be listed ends the search.
int endForUnreadable(const char *, int error) {
    return isAbsence(error) ? 0 : 1;
}

/// librpm skips a file that it cannot read, even if that has the database's place.
void requireReadableMacros(const std::string &path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 && !isAbsence(errno))
        raiseFor(path);
    if (!S_ISREG(status.st_mode))
        return;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char first = 0;
    if (file.get() < 0 || ::read(file.get(), &first, 1) < 0)
        raiseFor(path);
}

void requireMacrosOf(const std::string &pattern) {
    const std::unique_ptr<char, decltype(&std::free)> expanded(rpmExpand(pattern.c_str(), nullptr),
                                                               std::free);
    glob_t found = {};
    const int result = ::glob(expanded.get(), GLOB_TILDE | GLOB_BRACE, endForUnreadable, &found);
    const std::unique_ptr<glob_t, decltype(&::globfree)> owner(&found, ::globfree);
    if (result != 0 && result != GLOB_NOMATCH)
        raise("couldn't look for " + pattern);
    for (std::size_t i = 0; i < found.gl_pathc; ++i)
        requireReadableMacros(found.gl_pathv[i]);
}

bool isThere(const fs::path &file) {
    struct stat status = {};
    if (::stat(file.c_str(), &status) == 0)
        return true;
    if (!isAbsence(errno))
        raiseFor(file.string());
    return false;
}

} // namespace

void requireDatabase() {
    initialise();
    std::istringstream patterns(macrofiles ? macrofiles : "");
    for (std::string pattern; std::getline(patterns, pattern, ':');)
        requireMacrosOf(pattern);
    const fs::path directory = databaseDirectory();
    if (!directory.is_absolute())
        raise("rpm's configuration does not say where it is");
    constexpr std::array names = {"rpmdb.sqlite", "Packages", "Packages.db"};
    if (std::ranges::none_of(names, [&](const char *name) { return isThere(directory / name); }))
        raise("there is none in " + directory.string());
}

} // namespace Common::Rpm
