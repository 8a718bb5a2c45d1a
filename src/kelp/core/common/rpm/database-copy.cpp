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

/// Takes the lock that whoever changes the database has, for as long as the result lives. That changes
/// nothing: where rpm has made no lock file, nobody has it.
/// An fcntl lock ends with any descriptor of the file that the process closes: there must be no Transaction
/// on the machine's own database beside it.
FileDescriptor lockOutWriters(const fs::path &directory) {
    FileDescriptor lock(::open((directory / lockName).c_str(), O_RDONLY | O_CLOEXEC));
    struct flock shared {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    if (lock.get() >= 0 && ::fcntl(lock.get(), F_SETLK, &shared) != 0)
        throw Error(ErrorCode::Internal, "Another process changes the rpm database");
    return lock;
}

/// The index of SQLite's write-ahead log, "-shm", is none: whoever opens the database makes it anew.
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
        // Over the whole copying: database and log of two moments do not belong together.
        const FileDescriptor lock = lockOutWriters(original);
        auto copy = std::make_unique<ScratchDirectory>();
        for (const fs::path &file : databaseFiles(original))
            fs::copy_file(file, copy->path() / file.filename());
        directory_ = std::move(copy);
    } catch (const fs::filesystem_error &error) {
        throw Error(ErrorCode::Filesystem, std::string("Couldn't copy the rpm database: ") + error.what());
    }
    // After rpm's configuration, which databaseDirectory() has had read: read later, it would lay its own
    // path on top. rpm's lock file is in that directory too, so that the original's is not touched.
    rpmPushMacro(nullptr, directoryMacro, nullptr, directory_->path().c_str(), RMIL_CMDLINE);
}

DatabaseCopy::~DatabaseCopy() {
    rpmPopMacro(nullptr, directoryMacro);
}

} // namespace Common::Rpm
