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

/// What can be locked where nothing can be written: the file if it is there, or else its directory. Whoever
/// comes by the same filesystem finds the same.
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
    // One made under another mask lets others lock us out.
    if (file.get() < 0 || ::fchmod(file.get(), 0600) != 0)
        throw lockError();
    return file;
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

/// Looks again and again: a process that sleeps in flock(2) would not see a signal that it has blocked.
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

/// For people alone: that it could not be written is no reason to stop.
void writeHolder(int file) {
    const std::string text = std::to_string(::getpid()) + " " + ::program_invocation_short_name + "\n";
    if (::ftruncate(file, 0) == 0) [[maybe_unused]]
        const ssize_t written = ::pwrite(file, text.data(), text.size(), 0);
}

} // namespace

std::filesystem::path WriterLock::path() {
    return rootPath() / "var/lib/kelp/store.lock";
}

WriterLock::WriterLock(Wait wait) : file_(openLock()) {
    if (!tryLock(file_.get())) {
        if (wait == Wait::No)
            throw Error(ErrorCode::Internal, "Another process changes the store: " + holder());
        waitForLock(file_.get());
    }
    writeHolder(file_.get());
}

WriterLock::~WriterLock() {
    // A file that names nobody says that the last holder came to its end.
    [[maybe_unused]] const int ignored = ::ftruncate(file_.get(), 0);
}

} // namespace Common
