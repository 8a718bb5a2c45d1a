#include "kelp/core/common/writer-lock.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/stop-signals.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace Common {

namespace {

Error lockError() {
    return {ErrorCode::Filesystem, "Couldn't take the lock: " + WriterLock::path().string(), errno};
}

/// Opens a lockable file on a read-only filesystem: the lock file if root can open it, or else its directory.
/// Every writer finds the same one there.
FileDescriptor openReadOnly() {
    FileDescriptor file(::open(WriterLock::path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (file.get() < 0)
        file = FileDescriptor(
            ::open(WriterLock::path().parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (file.get() < 0)
        throw lockError();
    return file;
}

FileDescriptor openLock() {
    createPrivateDirectory(WriterLock::path().parent_path());
    FileDescriptor file(::open(WriterLock::path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file.get() < 0 && errno == EROFS)
        return openReadOnly();
    if (file.get() < 0 && errno == EACCES)
        throw Error(ErrorCode::UnauthorizedAccess, "Only root can change the store");
    // A file that exists may have another mode, and would let others lock us out.
    if (file.get() < 0 || ::fchmod(file.get(), 0600) != 0)
        throw lockError();
    return file;
}

/// The directory of the lock file, where only root can open it; nothing elsewhere, since anybody else could
/// lock us out. Nothing either if `lock` is on the directory itself.
FileDescriptor openDirectory(const FileDescriptor &lock) {
    struct stat status = {};
    if (::fstat(lock.get(), &status) != 0 || S_ISDIR(status.st_mode))
        return FileDescriptor();
    FileDescriptor directory(
        ::open(WriterLock::path().parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() < 0 || ::fstat(directory.get(), &status) != 0)
        throw lockError();
    return (status.st_mode & (S_IRWXG | S_IRWXO)) == 0 ? std::move(directory) : FileDescriptor();
}

/// flock(2) and not fcntl(2), whose locks end as soon as the process closes any other descriptor of the file.
bool tryLock(int file) {
    int result;
    do
        result = ::flock(file, LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EWOULDBLOCK)
        throw lockError();
    return result == 0;
}

std::string holder() {
    const std::string text = readIfExists(WriterLock::path()).value_or("");
    return text.empty() ? "unknown" : text.substr(0, text.find('\n'));
}

/// Polls: a process that sleeps in flock(2) would not see a blocked signal.
void waitForLock(int file) {
    constexpr std::chrono::milliseconds pause(100);
    LogStream(LogLevel::Info) << "Waiting for another process that changes the store: " << holder();
    while (!tryLock(file)) {
        if (stopRequested())
            throw Error(ErrorCode::Internal,
                        "Asked to stop while another process changes the store: " + holder());
        std::this_thread::sleep_for(pause);
    }
}

void lock(int file, WriterLock::Wait wait) {
    if (tryLock(file))
        return;
    if (wait == WriterLock::Wait::No)
        throw Error(ErrorCode::Internal, "Another process changes the store: " + holder());
    waitForLock(file);
}

/// Only for people: a failure to write it does not stop us.
void writeHolder(int file) {
    const std::string text = std::to_string(::getpid()) + " " + ::program_invocation_short_name + "\n";
    if (::ftruncate(file, 0) == 0) [[maybe_unused]]
        const ssize_t written = ::pwrite(file, text.data(), text.size(), 0);
}

} // namespace

std::filesystem::path WriterLock::path() {
    return rootPath() / "var/lib/kelp/store.lock";
}

WriterLock::WriterLock(Wait wait) : file_(openLock()), directory_(openDirectory(file_)) {
    lock(file_.get(), wait);
    // Somebody may have removed the file of a process that still runs, and then ours is a new one.
    if (directory_.get() >= 0)
        lock(directory_.get(), wait);
    writeHolder(file_.get());
}

WriterLock::~WriterLock() {
    // Text that stays in the file tells people that its holder was killed.
    [[maybe_unused]] const int ignored = ::ftruncate(file_.get(), 0);
}

namespace {

bool isHeld() {
    const FileDescriptor file(
        ::open(WriterLock::path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status = {};
    // An empty file has no holder, and is not touched: a writer that begins now would be refused.
    return ::fstat(file.get(), &status) == 0 && status.st_size > 0 &&
           ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

} // namespace

WriterWatch::State WriterWatch::state() {
    struct stat status = {};
    if (::lstat(WriterLock::path().c_str(), &status) != 0)
        return {};
    return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool WriterWatch::hasSeenWriter() const {
    return state() != before_ || isHeld();
}

} // namespace Common
