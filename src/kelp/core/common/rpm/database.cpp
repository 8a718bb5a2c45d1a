#include "kelp/core/common/rpm/database.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/files/scratch-directory.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/transaction.h"

#include <fcntl.h>
#include <glob.h>
#include <rpm/rpmmacro.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace Common::Rpm {

namespace {

[[noreturn]] void raise(const std::string &reason) {
    throw Error(ErrorCode::Internal, "Couldn't read the rpm database: " + reason);
}

[[noreturn]] void raiseFor(const std::string &path) {
    raise(path + ": " + std::strerror(errno));
}

/// For glob(3): an existing directory that cannot be listed ends the search.
int endForUnreadable(const char *, int error) {
    return isNotFound(error) ? 0 : 1;
}

/// librpm skips a file that it cannot read, even if that has the database's place.
void requireReadableMacros(const std::string &path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 && !isNotFound(errno))
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
    if (!isNotFound(errno))
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

namespace {

constexpr const char *directoryMacro = "_dbpath";
constexpr const char *lockName = ".rpm.lock";

/// Locks the database against writers for as long as the result lives. Makes no lock file: without one the
/// result locks nothing, and the caller must call requireNoWriter() afterwards. An fcntl lock ends when the
/// process closes any descriptor of the file, and the result closes one. So the process must have no
/// Transaction on the machine's own database: the Transaction would lose its lock.
FileDescriptor lockOutWriters(const fs::path &directory) {
    FileDescriptor lock(::open((directory / lockName).c_str(), O_RDONLY | O_CLOEXEC));
    // Without the lock the copy could be torn.
    if (lock.get() < 0 && errno != ENOENT)
        throw fs::filesystem_error("cannot open", directory / lockName,
                                   std::error_code(errno, std::system_category()));
    struct flock shared {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    if (lock.get() >= 0 && ::fcntl(lock.get(), F_SETLK, &shared) != 0)
        throw Error(ErrorCode::Internal, "Another process changes the rpm database");
    return lock;
}

/// A first writer may have made the lock file during the copy.
void requireNoWriter(const fs::path &directory) {
    if (isThere(directory / lockName))
        throw Error(ErrorCode::Internal, "Another process changes the rpm database");
}

/// Without the index of SQLite's write-ahead log, "-shm": each opening makes it anew.
std::vector<fs::path> databaseFiles(const fs::path &directory) {
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name != lockName && !name.ends_with("-shm"))
            files.push_back(entry.path());
    }
    return files;
}

} // namespace

DatabaseCopy::DatabaseCopy() {
    requireDatabase();
    const fs::path original = databaseDirectory();
    try {
        // Held during the whole copy: a database and a log of different moments do not fit.
        const FileDescriptor lock = lockOutWriters(original);
        auto copy = std::make_unique<ScratchDirectory>();
        for (const fs::path &file : databaseFiles(original))
            fs::copy_file(file, copy->path() / file.filename());
        if (lock.get() < 0)
            requireNoWriter(original);
        directory_ = std::move(copy);
    } catch (const fs::filesystem_error &error) {
        throw Error(ErrorCode::Filesystem, std::string("Couldn't copy the rpm database: ") + error.what());
    }
    // After databaseDirectory() has read rpm's configuration: read later, that would override this path.
    // rpm's lock file is in that directory too, so the original's is not touched.
    rpmPushMacro(nullptr, directoryMacro, nullptr, directory_->path().c_str(), RMIL_CMDLINE);
}

DatabaseCopy::~DatabaseCopy() {
    rpmPopMacro(nullptr, directoryMacro);
}

} // namespace Common::Rpm
