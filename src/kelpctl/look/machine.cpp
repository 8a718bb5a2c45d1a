#include "kelpctl/look/machine.h"

#include "kelp/core/common/errors/error.h"

#include <CLI/CLI.hpp>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace KelpCtl {

namespace {

using Common::Error;
using Common::ErrorCode;

[[noreturn]] void raiseEntering(const std::filesystem::path &root) {
    const int reason = errno;
    const auto code = reason == EPERM ? ErrorCode::UnauthorizedAccess : ErrorCode::Filesystem;
    throw Error(code, "Couldn't enter " + root.string() + ": " + std::system_category().message(reason));
}

bool areOwnersSeen = true;

void writeText(const char *path, const std::string &text) {
    std::ofstream(path) << text;
}

/// Where the system allows it, a user becomes root in a name space of their own and can change the root
/// there. That gives no further right to read.
bool haveOwnNameSpaces() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    // Root needs no user name space, and would lose its rights over the files of others in one.
    if (user == "0")
        return ::unshare(CLONE_NEWNS) == 0;
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    areOwnersSeen = false;
    // In this order: a user may map a group only when setgroups(2) is given up.
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + user + " 1");
    writeText("/proc/self/gid_map", "0 " + group + " 1");
    return true;
}

/// Mounts memory over the other root's temporary directory: a look must not write there either.
bool haveOwnTemporaryDirectory() {
    ::setenv("TMPDIR", "/tmp", 1);
    // If it were a link, the memory would cover another directory, such as the store.
    if (std::filesystem::is_symlink("/tmp")) {
        errno = ELOOP;
        return false;
    }
    return ::mount("kelpctl", "/tmp", "tmpfs", 0, "mode=0700") == 0;
}

void enter(const std::filesystem::path &root) {
    // Private first: otherwise the memory over /tmp would appear on the running machine as well.
    if (!haveOwnNameSpaces() || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::chroot(root.c_str()) != 0 || ::chdir("/") != 0 || !haveOwnTemporaryDirectory())
        raiseEntering(root);
    // A user who has made an image without root's help owns all of it. So all of it seems to be root's, as it
    // will be on a machine.
    struct stat status {};
    areOwnersSeen = areOwnersSeen || (::stat("/", &status) == 0 && status.st_uid == 0);
    // From here on the root is the machine's own: a prefix would be looked for inside it.
    ::unsetenv("KELP_ROOT_FS");
}

} // namespace

void addRootOption(CLI::App &command, LookOptions &options) {
    command.add_option("--root", options.root, "Look at the machine whose root is DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
}

void addLookOptions(CLI::App &command, LookOptions &options) {
    addRootOption(command, options);
    command.add_flag("--json", options.isJson, "Write JSON");
}

bool seesOwners() {
    return areOwnersSeen;
}

Machine::Machine(const LookOptions &options) {
    if (!options.root.empty())
        enter(options.root);
    // After the change of root: it reads the other machine's configuration file.
    configuration_.emplace(Core::Configuration::Missing::IsFine);
    watch_.emplace();
}

void Machine::noteWriter(bool isWell, Core::KELP::Unread &unread) const {
    if ((!isWell || !unread.texts().empty()) && watch_->hasSeenWriter())
        unread.add("Another process has changed the store during this look: look again when it has ended");
}

} // namespace KelpCtl
