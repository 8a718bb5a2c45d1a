#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>

namespace Common {

/// The one lock of the store's writers: the launcher, and the commands of people. An advisory lock on the
/// file var/lib/kelp/store.lock below the root prefix. Only root can open the file, so nobody else can block
/// the writers; it names the process that holds it. On a read-only filesystem it locks the existing file, or
/// else its directory. The kernel ends the lock with the process, however that ends.
class WriterLock {
public:
    enum class Wait { No, Yes };

    /// Takes the lock; makes the file's directory, for root alone. With Wait::Yes it waits for the holder's
    /// end, and logs its name; a deferred stop signal (stop-signals.h) ends the wait with ErrorCode::Internal
    /// "Asked to stop while another process changes the store: HOLDER". With Wait::No it raises
    /// ErrorCode::Internal "Another process changes the store: HOLDER". Raises ErrorCode::UnauthorizedAccess
    /// "Only root can change the store", ErrorCode::Filesystem "Couldn't take the lock: PATH" when the file
    /// cannot be made or locked, and as createPrivateDirectory() does. Without the lock a process changes
    /// nothing.
    explicit WriterLock(Wait wait);
    WriterLock(const WriterLock &) = delete;
    WriterLock &operator=(const WriterLock &) = delete;
    ~WriterLock();

    static std::filesystem::path path();

private:
    FileDescriptor file_;
};

} // namespace Common
