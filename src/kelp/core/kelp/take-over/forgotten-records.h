#pragma once

#include <cstdint>
#include <set>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Has rpm forget the packages at these places of its database, and asks for each record afterwards, for what
/// rpm answers to a run says nothing. No script runs, and all files stay. Returns the places whose record may
/// still be there. A package that cannot be added to the run is left out alone, and nothing of this run is
/// ever carried out by a later one. What rpm fails at is logged.
std::set<std::uint32_t> forgetRecords(Common::Rpm::Transaction &rpm,
                                      const std::set<std::uint32_t> &instances);

} // namespace Core::KELP
