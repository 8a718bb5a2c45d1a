#include "kelpctl/validate/workspace.h"

#include "kelp/core/common/files/filesystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

constexpr mode_t mode = 0755;

[[noreturn]] void raise(const std::string &text) {
    throw std::runtime_error(text + ": " + std::generic_category().message(errno));
}

} // namespace

Workspace::Workspace() {
    // Made with mode 0700 and a name that nobody can guess: others may write in the directory.
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    if (error)
        throw std::runtime_error("TMPDIR is no directory that can be used: " + error.message());
    std::string name = (parent / "kelpctl-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        raise("Couldn't create temporary directory " + name);
    temporary_ = name;
    tree_.emplace(name);
    open(temporary_);
}

Workspace::Workspace(const fs::path &directory, const std::string &name) {
    Common::createDirectories(directory);
    const fs::path path = directory / name;
    // Fails when anything is there, a link to nowhere too.
    if (::mkdir(path.c_str(), mode) != 0) {
        if (errno == EEXIST)
            throw std::runtime_error(path.string() + " exists already");
        raise("Couldn't create " + path.string());
    }
    open(path);
}

void Workspace::open(const fs::path &path) {
    directory_ =
        Common::FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    // In a directory in which others may rename, it could be theirs by now.
    if (directory_.get() < 0 || ::fstat(directory_.get(), &status) != 0 || status.st_uid != ::geteuid())
        raise("Couldn't open " + path.string());
}

Workspace::~Workspace() {
    std::error_code ignored;
    if (!temporary_.empty())
        // By the path: where others can write too, the sticky bit keeps them from renaming it. Links in it
        // are removed and not followed.
        fs::remove_all(temporary_, ignored);
}

fs::path Workspace::path() const {
    // The directory itself, wherever it has been renamed to by now.
    return "/proc/self/fd/" + std::to_string(directory_.get());
}

} // namespace KelpCtl
