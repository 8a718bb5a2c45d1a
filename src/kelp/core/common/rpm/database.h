#pragma once

#include "kelp/core/common/rpm/initialise.h"

#include <memory>

namespace Common {
class ScratchDirectory;
}

namespace Common::Rpm {

/// Raises ErrorCode::Internal "Couldn't read the rpm database: REASON" if the machine's rpm database is not
/// where rpm's configuration says. librpm would make an empty one there, even for a reader; then nothing
/// would seem installed. Also raises when a file of that configuration cannot be read: it may name another
/// place of the database. Call it before librpm opens the database.
void requireDatabase();

/// The machine's rpm database, read only. librpm writes beside a database when it opens it, even for reading.
/// So this makes a copy in the temporary directory, and every Transaction of this process uses that as long
/// as the object lives. Nothing is written to the database's directory. One object at a time; librpm is quiet
/// meanwhile.
class DatabaseCopy {
public:
    /// Raises ErrorCode::Internal "Another process changes the rpm database" while one does, and
    /// ErrorCode::Filesystem "Couldn't copy the rpm database: REASON"; and as requireDatabase() and
    /// ScratchDirectory do. There must be no Transaction in the process: it would lose its lock.
    DatabaseCopy();
    DatabaseCopy(const DatabaseCopy &) = delete;
    DatabaseCopy &operator=(const DatabaseCopy &) = delete;
    ~DatabaseCopy();

private:
    QuietLibrary quiet_;
    std::unique_ptr<ScratchDirectory> directory_;
};

} // namespace Common::Rpm
