#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>

namespace Common {

/// The one lock of whoever changes the store: the launcher, and the commands of people. An advisory lock on
/// the file var/lib/kelp/store.lock below the root prefix, root's alone so that nobody else can hold things
/// up; the file names the process that holds it. On a filesystem that cannot be written to it is the same
/// lock on what is there, the file or else its directory. The kernel ends the lock with the process, however
/// that ends.
class WriterLock {
public:
    enum class Wait { No, Yes };

    /// Takes the lock; makes the file's directory, for root alone. With Wait::Yes it waits for another's end,
    /// and says on whom; a deferred stop signal (stop-signals.h) ends the wait with ErrorCode::Internal
    /// "Asked to stop while another process changes the store: HOLDER". With Wait::No it raises
    /// ErrorCode::Internal "Another process changes the store: HOLDER". Raises
    /// ErrorCode::UnauthorizedAccess "Only root can change the store", ErrorCode::Filesystem "Couldn't take
    /// the lock: PATH" when the file cannot be made or locked, and as createPrivateDirectory() does. Whoever
    /// has not got the lock changes nothing.
    explicit WriterLock(Wait wait);
    WriterLock(const WriterLock &) = delete;
    WriterLock &operator=(const WriterLock &) = delete;
    ~WriterLock();

    static std::filesystem::path path();

private:
    FileDescriptor file_;
};

} // namespace Common
