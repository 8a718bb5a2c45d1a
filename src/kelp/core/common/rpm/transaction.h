#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct rpmts_s;
struct rpmtxn_s;

namespace Common::Rpm {

/// A transaction on the machine's rpm database, which lies where rpm's configuration says; the root prefix is
/// not applied. Copies share the transaction, and its lock is held until the last copy goes.
///
/// One object serves any number of runs. A process must not have a second transaction: the kernel counts one
/// lock for the process, so the end of the second would release the lock of the first.
class Transaction {
public:
    using Flags = std::uint32_t;

    /// For the constructor: keeps all other transactions from the database, but not readers such as `rpm -q`.
    /// A run is durable only after a flush of the filesystem of databaseDirectory().
    static constexpr Flags WriteLock = 2;
    static constexpr Flags NoPlugins = 0x80; ///< For addFlags: rpm's plugins stay out of the run.

    /// The result of a walk over the installed packages.
    enum class Walk {
        Complete,
        Damaged, ///< rpm logged an error on the way: it skips a record that it cannot read.
        Cut      ///< The database failed on the way, and gave no more records.
    };

    /// Takes the database's lock and opens the database. Raises ErrorCode::Internal "Couldn't begin rpm
    /// transaction" if it cannot take the lock. If another process has the lock, librpm waits for it when
    /// standard input is a terminal. Raises as requireDatabase() does, and ErrorCode::Internal "Couldn't read
    /// the rpm database" when the database cannot be opened.
    explicit Transaction(Flags lock);

    /// Adds to the flags of the run, which are the RPMTRANS_FLAG values of librpm's rpmts.h.
    void addFlags(Flags flags);

    /// Makes the run show labels and hash marks on standard output, unless that is the journal: there a bar
    /// would become records.
    void setProgressCallback();

    /// Calls `callback` for each installed package. The reader and its copies are valid until the callback
    /// returns; a FileIterator made from the reader may be used after that. Only Walk::Complete proves that a
    /// package without a call is not installed. Raises ErrorCode::Internal "Couldn't read the rpm database"
    /// when the database cannot be opened; librpm's own message says why.
    Walk forEachInstalled(const std::function<void(const Reader &)> &callback) const;

    /// The result of a look for a record.
    enum class Record { Gone, There, Unreadable };

    /// Looks for the record at one place of the database, even if others are damaged. Calls `found`, if
    /// given, with it, as the walk does. Raises as the walk does.
    Record lookUp(std::uint32_t instance, const std::function<void(const Reader &)> &found = {}) const;

    /// Whether a record has the absolute `path` as installed, also through links of the system. If the
    /// database cannot tell, the path counts as owned.
    bool isOwned(const std::string &path) const;

    /// Adds the erasure of an installed package to the run. Raises ErrorCode::Internal "Couldn't add erase
    /// element to the RPM transaction" for a package that is not from the database.
    void addErase(const Reader &package);

    /// Forgets the added erasures.
    void forgetErasures();

    /// Carries out the erasures that addErase() added. Forgets them, also when it raises ErrorCode::Internal
    /// "Couldn't run rpm transaction". A return without an error proves nothing: librpm counts neither a
    /// problem that it found before the start nor a database that it could not write as a failure. Check
    /// afterwards what is installed.
    void run();

    /// Takes the packages out of the database only: no script runs, and their files stay. Otherwise as run().
    /// Looks after it tell what the database holds, also when rpm could not write to it; then the database is
    /// opened anew, and a failure of that raises ErrorCode::Internal "Couldn't read the rpm database".
    void runOnDatabaseAlone();

private:
    void reopen();

    std::shared_ptr<rpmts_s> transactionSet_;
    std::shared_ptr<rpmtxn_s> lock_; ///< Must be destroyed before its set.
};

/// The place of a package's record in the database. A reinstalled package gets another one.
std::uint32_t databaseInstance(const Reader &installed);

/// The directory of the machine's rpm database, by rpm's configuration; of its copy while a DatabaseCopy
/// lives.
std::filesystem::path databaseDirectory();

} // namespace Common::Rpm
