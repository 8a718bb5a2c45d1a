#include "kelp/core/common/rpm/database-copy.h"

#include "kelp/core/common/error.h"
#include "kelp/core/common/file-descriptor.h"
#include "kelp/core/common/rpm/initialise.h"

#include <rpm/rpmfileutil.h>
#include <rpm/rpmmacro.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace Common::Rpm {

namespace {

constexpr const char *directoryMacro = "_dbpath";
constexpr const char *lockName = ".rpm.lock";

using OpenFiles = std::vector<std::pair<std::string, FileDescriptor>>;

fs::path databaseDirectory() {
    initialise();
    const std::unique_ptr<char, decltype(&std::free)> path(rpmGetPath("%{?_dbpath}", nullptr), std::free);
    return path.get();
}

[[noreturn]] void raiseErrno(const char *what, const fs::path &path) {
    throw fs::filesystem_error(what, path, std::error_code(errno, std::system_category()));
}

FileDescriptor openFile(const fs::path &path, int flags) {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0600));
    if (file.get() < 0)
        raiseErrno("cannot open", path);
    return file;
}

/// Takes the lock that whoever changes the database has, for as long as the result lives. That changes
/// nothing: where rpm has made no lock file, nobody has it.
FileDescriptor lockOutWriters(const fs::path &directory) {
    FileDescriptor lock(::open((directory / lockName).c_str(), O_RDONLY | O_CLOEXEC));
    struct flock shared {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    if (lock.get() >= 0 && ::fcntl(lock.get(), F_SETLK, &shared) != 0)
        throw Error(ErrorCode::Internal, "Another process changes the rpm database");
    return lock;
}

/// The files that make the database. The index of SQLite's write-ahead log, "-shm", is none: whoever opens
/// the database makes it anew.
OpenFiles openDatabase(const fs::path &directory) {
    OpenFiles files;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name != lockName && !name.ends_with("-shm"))
            files.emplace_back(name, openFile(entry.path(), O_RDONLY));
    }
    return files;
}

void copyContent(const FileDescriptor &from, const fs::path &to) {
    constexpr std::size_t most = 1U << 30;
    const FileDescriptor file = openFile(to, O_WRONLY | O_CREAT | O_EXCL);
    ssize_t written;
    while ((written = ::sendfile(file.get(), from.get(), nullptr, most)) != 0)
        if (written < 0)
            raiseErrno("cannot write", to);
}

} // namespace

DatabaseCopy::DatabaseCopy(Place place) {
    const fs::path directory = databaseDirectory();
    std::error_code ignored;
    if (!fs::is_directory(directory, ignored))
        return;
    try {
        const FileDescriptor lock = lockOutWriters(directory);
        const OpenFiles files = openDatabase(directory);
        if (files.empty())
            return;
        const fs::path to = makePlace(place, directory);
        for (const auto &[name, file] : files)
            copyContent(file, to / name);
        isThere_ = true;
    } catch (const fs::filesystem_error &error) {
        discard();
        throw Error(ErrorCode::Filesystem, std::string("Couldn't copy the rpm database: ") + error.what());
    }
}

DatabaseCopy::~DatabaseCopy() {
    discard();
}

void DatabaseCopy::discard() {
    if (temporary_.empty())
        return;
    rpmPopMacro(nullptr, directoryMacro);
    std::error_code ignored;
    fs::remove_all(temporary_, ignored);
}

fs::path DatabaseCopy::makePlace(Place place, const fs::path &original) {
    if (place == Place::OverTheOriginal) {
        if (::mount("kelp", original.c_str(), "tmpfs", 0, "mode=0700") != 0)
            raiseErrno("cannot mount memory over", original);
        return original;
    }
    std::string name = (fs::temp_directory_path() / "kelp-rpm-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        raiseErrno("cannot create", name);
    temporary_ = name;
    rpmPushMacro(nullptr, directoryMacro, nullptr, name.c_str(), RMIL_CMDLINE);
    return temporary_;
}

} // namespace Common::Rpm
