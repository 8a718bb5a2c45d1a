#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <functional>
#include <memory>

struct rpmts_s;
struct rpmtxn_s;

namespace Common::Rpm {

/// A transaction on the machine's rpm database, which is the one that rpm's configuration names, whatever the
/// root prefix. Copies share the transaction; its lock is held until the last one goes.
class Transaction {
public:
    using Flags = std::uint32_t;

    static constexpr Flags WriteLock = 2;    ///< For the constructor: keeps all others from the database.
    static constexpr Flags NoPlugins = 0x80; ///< For addFlags: rpm's plugins stay out of the run.

    /// Takes the database's lock. Raises ErrorCode::Internal "Couldn't begin rpm transaction" when another
    /// process has it; librpm waits for its release only when standard input is a terminal.
    explicit Transaction(Flags lock);

    /// Adds to the flags of the run, which are the RPMTRANS_FLAG values of librpm's rpmts.h.
    void addFlags(Flags flags);

    /// Has the run show labels and hash marks on standard output.
    void setProgressCallback();

    /// Calls `callback` for each installed package. The reader and its copies are valid until the callback
    /// returns; a FileIterator made from it can be walked beyond that. A database that cannot be opened
    /// counts as empty, and librpm says so on standard error.
    void forEachInstalled(const std::function<void(const Reader &)> &callback) const;

    /// Has the run erase an installed package. Raises ErrorCode::Internal "Couldn't add erase element to the
    /// RPM transaction" for a package that is not from the database.
    void addErase(const Reader &package);

    /// Carries the erasures out. Raises ErrorCode::Internal "Couldn't run rpm transaction". Problems that rpm
    /// finds before it starts are no failure, though packages stay installed then.
    void run();

private:
    std::shared_ptr<rpmts_s> transactionSet_;
    std::shared_ptr<rpmtxn_s> lock_; ///< Goes before the set that it belongs to.
};

} // namespace Common::Rpm
