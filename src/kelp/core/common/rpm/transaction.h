#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct rpmts_s;
struct rpmtxn_s;

namespace Common::Rpm {

/// A transaction on the machine's rpm database: the one that rpm's configuration names, without the root
/// prefix. Copies share the transaction; its lock is held until the last one goes.
///
/// One object serves any number of runs. There must not be a second one in the process: its end would drop
/// the lock of the first, since the kernel's lock belongs to the process.
class Transaction {
public:
    using Flags = std::uint32_t;

    /// For the constructor: keeps all others from the database. A run is durable only after a flush of the
    /// filesystem of databaseDirectory().
    static constexpr Flags WriteLock = 2;
    static constexpr Flags NoPlugins = 0x80; ///< For addFlags: rpm's plugins stay out of the run.

    /// The result of a walk over the installed packages.
    enum class Walk {
        Complete,
        Damaged, ///< rpm logged an error on the way: it skips a record that it cannot read.
        Cut      ///< The database failed on the way, and gave no more records.
    };

    /// Takes the database's lock and opens it. Raises ErrorCode::Internal "Couldn't begin rpm transaction"
    /// when another process has it; librpm waits for it only when standard input is a terminal. Raises
    /// "Couldn't read the rpm database: REASON" as requireDatabase() does, and for one that cannot be opened.
    explicit Transaction(Flags lock);

    /// Adds to the flags of the run, which are the RPMTRANS_FLAG values of librpm's rpmts.h.
    void addFlags(Flags flags);

    /// Makes the run show labels and hash marks on standard output, unless that is the journal: there a bar
    /// would become records.
    void setProgressCallback();

    /// Calls `callback` for each installed package. The reader and its copies are valid until the callback
    /// returns; a FileIterator made from it can be walked beyond that. Only a complete walk proves that a
    /// package is not installed. Raises ErrorCode::Internal "Couldn't read the rpm database" for one that
    /// cannot be opened; librpm says why on standard error.
    Walk forEachInstalled(const std::function<void(const Reader &)> &callback) const;

    /// The result of a look for a record.
    enum class Record { Gone, There, Unreadable };

    /// Looks for the record at one place of the database, even if others are damaged. Calls `found`, if
    /// given, with it, as the walk does. Raises as the walk does.
    Record lookUp(std::uint32_t instance, const std::function<void(const Reader &)> &found = {}) const;

    /// Whether a record lists the absolute `path`, also through links of the system. If the database cannot
    /// tell, the path counts as owned.
    bool isOwned(const std::string &path) const;

    /// Adds the erasure of an installed package to the run. Raises ErrorCode::Internal "Couldn't add erase
    /// element to the RPM transaction" for a package that is not from the database.
    void addErase(const Reader &package);

    /// Forgets the added erasures.
    void forgetErasures();

    /// Carries the erasures out, and forgets them. Raises ErrorCode::Internal "Couldn't run rpm transaction".
    /// Its return proves nothing: rpm answers the same for problems found before the start, and for a
    /// database that it could not write. Check afterwards what is installed.
    void run();

    /// Takes the packages out of the database only: no script runs, and their files stay. Otherwise as run().
    void runOnDatabaseAlone();

private:
    std::shared_ptr<rpmts_s> transactionSet_;
    std::shared_ptr<rpmtxn_s> lock_; ///< Must be destroyed before its set.
};

/// The place of a package's record in the database. A reinstalled package gets another one.
std::uint32_t databaseInstance(const Reader &installed);

/// The directory of the machine's rpm database, by rpm's configuration.
std::filesystem::path databaseDirectory();

} // namespace Common::Rpm
