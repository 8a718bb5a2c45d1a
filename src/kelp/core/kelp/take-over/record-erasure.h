#pragma once

#include <cstdint>
#include <set>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Makes rpm forget the packages at these places of its database. Then it looks for each record: rpm's result
/// for a run proves nothing. No script runs, and all files stay. Returns the places whose record may still be
/// there. A package that cannot be added to the run is left out alone. No part of this run carries over to a
/// later one. rpm's failures are logged.
std::set<std::uint32_t> forgetRecords(Common::Rpm::Transaction &rpm,
                                      const std::set<std::uint32_t> &instances);

} // namespace Core::KELP
