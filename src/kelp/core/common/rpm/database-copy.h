#pragma once

#include "kelp/core/common/rpm/initialise.h"

#include <memory>

namespace Common {
class ScratchDirectory;
}

namespace Common::Rpm {

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
