#include "kelp/core/common/rpm/database-copy.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/scratch-directory.h"
#include "kelp/core/common/rpm/database-presence.h"
#include "kelp/core/common/rpm/transaction.h"

#include <rpm/rpmmacro.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace Common::Rpm {

namespace {

constexpr const char *directoryMacro = "_dbpath";
constexpr const char *lockName = ".rpm.lock";

/// Holds the lock of the database's writers for as long as the result lives. Makes no lock file: without one
/// no writer holds the lock. An fcntl lock ends when the process closes any descriptor of the file, so there
/// must be no Transaction on the machine's own database.
FileDescriptor lockOutWriters(const fs::path &directory) {
    FileDescriptor lock(::open((directory / lockName).c_str(), O_RDONLY | O_CLOEXEC));
    struct flock shared {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    if (lock.get() >= 0 && ::fcntl(lock.get(), F_SETLK, &shared) != 0)
        throw Error(ErrorCode::Internal, "Another process changes the rpm database");
    return lock;
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
