#pragma once

#include <cstdint>
#include <set>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Makes rpm forget the packages whose records have these places in its database. No script runs, and all
/// files stay. A package that cannot be added to rpm's run is left out; the others go on. If the walk through
/// the records or the run fails, all erasures are dropped from `rpm`: the next run must not repeat them. Both
/// kinds of failure are logged. At the end looks for each record, since rpm's result for a run proves
/// nothing. Returns the places whose record may still be there. Raises as Transaction::lookUp() does.
std::set<std::uint32_t> forgetRecords(Common::Rpm::Transaction &rpm,
                                      const std::set<std::uint32_t> &instances);

} // namespace Core::KELP
