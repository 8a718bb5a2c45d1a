#pragma once

#include "kelp/core/common/rpm/initialise.h"

#include <memory>

namespace Common {
class ScratchDirectory;
}

namespace Common::Rpm {

/// Raises ErrorCode::Internal "Couldn't read the rpm database: REASON" if the machine's rpm database is not
/// where rpm's configuration says, or if a look for it fails. librpm would make an empty database there, even
/// for a reader, and nothing would seem installed. Also raises if one of rpm's macro files cannot be read,
/// since that file may say where the database is. Call this before librpm opens the database.
void requireDatabase();

/// A copy of the machine's rpm database, for readers. librpm writes files beside a database when it opens it,
/// even for reading. So the copy is a ScratchDirectory, and as long as this object lives, each new
/// Transaction of the process opens the copy. Nothing is written to the database's own directory. There can
/// be one such object at a time. While it lives, it silences librpm.
class DatabaseCopy {
public:
    /// Raises ErrorCode::Internal "Another process changes the rpm database" when it cannot take the
    /// lock of the database, as while another process holds that for writing. Raises the same if there was no
    /// lock file, and another process has made it during the copy. Also raises ErrorCode::Filesystem
    /// "Couldn't copy the rpm database: REASON", and as requireDatabase() and ScratchDirectory do. The
    /// process must have no Transaction: this constructor opens and closes the lock file, and the kernel then
    /// drops the Transaction's lock.
    DatabaseCopy();
    DatabaseCopy(const DatabaseCopy &) = delete;
    DatabaseCopy &operator=(const DatabaseCopy &) = delete;
    ~DatabaseCopy();

private:
    QuietLibrary quiet_;
    std::unique_ptr<ScratchDirectory> directory_;
};

} // namespace Common::Rpm
