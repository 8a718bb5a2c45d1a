#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <cstdint>
#include <filesystem>
#include <tuple>

namespace Common {

/// The one lock for all processes that change the store: the launcher, and the changing commands of kelpctl.
/// It is an advisory lock on the file var/lib/kelp/store.lock below the root prefix. Only root can open this
/// file, so nobody else can lock it. Its text names the process that holds the lock, for people. On
/// a read-only filesystem the text is not written, and the lock is on the file's directory if there is no
/// file. Where only root can open that directory, it is locked as well: so the removal of the file lets no
/// second process in. The kernel releases the lock when the process ends, however that happens.
class WriterLock {
public:
    enum class Wait { No, Yes };

    /// Takes the lock, after making the directory of its file, for root alone. While another process holds
    /// the lock, Wait::Yes logs the holder's name and waits. A deferred stop signal (stop-signals.h) ends the
    /// wait with ErrorCode::Internal "Asked to stop while another process changes the store: HOLDER".
    /// Wait::No raises ErrorCode::Internal "Another process changes the store: HOLDER".
    ///
    /// Also raises ErrorCode::UnauthorizedAccess "Only root can change the store", ErrorCode::Filesystem
    /// "Couldn't take the lock: PATH" when the file cannot be made or locked, and as createPrivateDirectory()
    /// and readIfExists() do. If this raises, the caller must change nothing.
    explicit WriterLock(Wait wait);
    WriterLock(const WriterLock &) = delete;
    WriterLock &operator=(const WriterLock &) = delete;
    ~WriterLock();

    static std::filesystem::path path();

private:
    FileDescriptor file_;
    FileDescriptor directory_; ///< Nothing is open where it is not locked.
};

/// Tells whether somebody has held the lock during a look at the store. Who looks does not wait for the lock:
/// what is found then may be of several moments. Changes nothing, and makes no file. Where the lock file
/// cannot be read or written, no writer is seen.
class WriterWatch {
public:
    /// The look begins.
    WriterWatch() : before_(state()) {}

    /// Whether a process has held the lock since then. Must not be asked by a process that holds it.
    bool hasSeenWriter() const;

private:
    /// Each writer writes to the file when it begins and when it ends.
    using State = std::tuple<std::uint64_t, std::int64_t, std::int64_t, std::int64_t>;
    static State state();

    State before_;
};

} // namespace Common
