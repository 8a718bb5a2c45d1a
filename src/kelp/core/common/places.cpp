#include "kelp/core/common/places.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/path-tests.h"

#include <boost/filesystem/operations.hpp>

#include <grp.h>

#include <cerrno>
#include <cstdlib>

namespace fs = std::filesystem;

namespace Common {

fs::path rootPath() {
    const char *prefix = std::getenv("KELP_ROOT_FS");
    return prefix ? prefix : "/";
}

fs::path belowRoot(const fs::path &path) {
    return rootPath() / path.relative_path();
}

fs::path homePath() {
    const char *home = std::getenv("HOME");
    if (!home)
        throw Error(ErrorCode::Filesystem, "Couldn't locate current user home directory");
    return home;
}

fs::path tempDirectoryPath() {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't retrieve temp directory path",
                     [] { return fs::temp_directory_path(); });
}

/// The standard library has no such function.
fs::path uniquePath(const std::string &model) {
    return boost::filesystem::unique_path(model).string();
}

std::vector<fs::path> usersHomes() {
    return lookForUsersHomes().homes;
}

namespace {

/// A list that ends with a null pointer, by the running system's database, without the root prefix.
char **usersNames() {
    const group *users = ::getgrnam("users");
    if (!users)
        throw Error(ErrorCode::Internal, "Couldn't retrieve information about 'users' group");
    if (!users->gr_mem)
        throw Error(ErrorCode::Internal, "Couldn't retrieve list of system users");
    return users->gr_mem;
}

} // namespace

HomesLook lookForUsersHomes() {
    const fs::path homes = rootPath() / "home";
    char **const names = usersNames();
    HomesLook look;
    const auto note = [](const Error &error, std::exception_ptr &first) {
        LogStream(LogLevel::Error) << explainedText(error);
        if (!first)
            first = std::make_exception_ptr(error);
    };
    const auto noteLink = [&](const fs::path &path) {
        if (leadsNowhere(path))
            note({ErrorCode::Filesystem, path.string() + " is a link that leads nowhere", ENOENT},
                 look.unmounted);
    };
    for (char **name = names; *name; ++name) {
        try {
            // Once: all homes lie on the same missing disk.
            if (name == names)
                noteLink(homes);
            if (fs::path home = homes / *name; lookThrough(home))
                look.homes.push_back(std::move(home));
            else
                noteLink(home);
        } catch (const Error &error) {
            note(error, look.failure);
        }
    }
    return look;
}

} // namespace Common
