#pragma once

#include <cstdint>
#include <set>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Makes rpm forget the packages whose records have these places in its database. No script runs, and all
/// files stay. Then looks for each record, since rpm's result for a run proves nothing. Returns the places
/// whose record may still be there. A package that cannot be added to the run is left out; the others go on.
/// After a failure the run is forgotten, so that a later run does not repeat parts of it. rpm's failures are
/// logged.
std::set<std::uint32_t> forgetRecords(Common::Rpm::Transaction &rpm,
                                      const std::set<std::uint32_t> &instances);

} // namespace Core::KELP
