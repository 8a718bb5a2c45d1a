#pragma once

#include <filesystem>

namespace Common::Rpm {

/// The machine's rpm database for somebody who only wants to look. librpm writes beside a database when it
/// opens it, even for reading; so this makes a copy, and every Transaction of this process works on that as
/// long as the object lives. Nothing is written to the database's directory. One object at a time.
class DatabaseCopy {
public:
    /// Where the copy goes.
    enum class Place {
        TemporaryDirectory, ///< A directory of its own in the temporary directory, gone with the object.
        OverTheOriginal,    ///< In memory, mounted over the database's directory: for a process that is alone
                            ///< in its mount namespace, and has no other place to write to.
    };

    /// Raises ErrorCode::Internal "Another process changes the rpm database" while one does, and
    /// ErrorCode::Filesystem "Couldn't copy the rpm database: REASON".
    explicit DatabaseCopy(Place place);
    DatabaseCopy(const DatabaseCopy &) = delete;
    DatabaseCopy &operator=(const DatabaseCopy &) = delete;
    ~DatabaseCopy();

    /// Whether the machine has a database; without one, a Transaction has nothing to work on.
    bool isThere() const { return isThere_; }

private:
    std::filesystem::path makePlace(Place place, const std::filesystem::path &original);
    void discard();

    std::filesystem::path temporary_; ///< Empty for a copy over the original.
    bool isThere_ = false;
};

} // namespace Common::Rpm
