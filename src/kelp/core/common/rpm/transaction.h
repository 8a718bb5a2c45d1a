#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct rpmts_s;
struct rpmtxn_s;

namespace Common::Rpm {

/// A transaction on the machine's rpm database, which is the one that rpm's configuration names, whatever the
/// root prefix. Copies share the transaction; its lock is held until the last one goes.
///
/// One object serves any number of runs. There must not be a second one in the process: its end would drop
/// the lock of the first, which is the kernel's and belongs to the process.
class Transaction {
public:
    using Flags = std::uint32_t;

    /// For the constructor: keeps all others from the database. What a run did to it is on disk only after
    /// the filesystem of databaseDirectory() is flushed.
    static constexpr Flags WriteLock = 2;
    static constexpr Flags NoPlugins = 0x80; ///< For addFlags: rpm's plugins stay out of the run.

    /// What a walk over the installed packages saw.
    enum class Walk {
        Complete,
        Damaged, ///< rpm logged an error on the way: it passes over a record that it cannot read.
        Cut      ///< The database failed on the way, and gave no more records.
    };

    /// Takes the database's lock and opens it. Raises ErrorCode::Internal "Couldn't begin rpm transaction"
    /// when another process has it (librpm waits for its release only when standard input is a terminal), and
    /// "Couldn't read the rpm database: REASON" as requireDatabase() does, and for one that cannot be opened.
    explicit Transaction(Flags lock);

    /// Adds to the flags of the run, which are the RPMTRANS_FLAG values of librpm's rpmts.h.
    void addFlags(Flags flags);

    /// Has the run show labels and hash marks on standard output, unless that is the journal: there a bar
    /// would be records, and part of others.
    void setProgressCallback();

    /// Calls `callback` for each installed package. The reader and its copies are valid until the callback
    /// returns; a FileIterator made from it can be walked beyond that. That a package did not come says that
    /// it is not installed only after a complete walk. Raises ErrorCode::Internal "Couldn't read the rpm
    /// database" for one that cannot be opened; librpm says why on standard error.
    Walk forEachInstalled(const std::function<void(const Reader &)> &callback) const;

    /// What one look for a record found.
    enum class Record { Gone, There, Unreadable };

    /// Looks for the record at one place of the database, whatever others are like. `found`, where there is
    /// one, is called with it, as by the walk. Raises as the walk does.
    Record lookUp(std::uint32_t instance, const std::function<void(const Reader &)> &found = {}) const;

    /// Whether a record lists the absolute `path`, by whatever links of the system. What the database does
    /// not tell counts as owned.
    bool isOwned(const std::string &path) const;

    /// Has the run erase an installed package. Raises ErrorCode::Internal "Couldn't add erase element to the
    /// RPM transaction" for a package that is not from the database.
    void addErase(const Reader &package);

    /// Forgets what was added and not carried out.
    void forgetErasures();

    /// Carries the erasures out, and forgets them. Raises ErrorCode::Internal "Couldn't run rpm transaction".
    /// That it returns says nothing: rpm answers the same for problems that it found before it started, and
    /// for a database that it could not write. What is installed afterwards is to be asked for.
    void run();

    /// Takes the packages out of the database alone: no script runs, and their files stay. The same holds as
    /// for run().
    void runOnDatabaseAlone();

private:
    std::shared_ptr<rpmts_s> transactionSet_;
    std::shared_ptr<rpmtxn_s> lock_; ///< Goes before the set that it belongs to.
};

/// The place of a package's record in the database. A package that is installed again gets another one.
std::uint32_t databaseInstance(const Reader &installed);

/// The directory of the machine's rpm database, as rpm's configuration has it.
std::filesystem::path databaseDirectory();

} // namespace Common::Rpm
