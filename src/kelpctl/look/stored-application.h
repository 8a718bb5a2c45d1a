#pragma once

#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/registry/registry-record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {
class Unread;
}

namespace boost::json {
class array;
class object;
} // namespace boost::json

namespace KelpCtl {

/// An application in the store, as shown to people.
struct StoredApplication {
    Core::KELP::StoredPackage package;
    std::string source;                  ///< The key id of its source; empty if unbound.
    std::string subject;                 ///< That source's subject.
    std::optional<std::uintmax_t> bytes; ///< Nothing when a look at a file failed, or it was not measured.
};

/// The applications whose link `current` names a version, even one that is gone, in the order of their ids. A
/// package that could not be looked at is among them, and `unread` gets the failure. If the sources cannot be
/// read, `unread` gets that too, and all packages count as unbound. Measures the size of the application
/// `measured` only, or of all if `measured` is empty. Raises as StoreView::packages() does.
std::vector<StoredApplication> storedApplications(const Core::IConfiguration &configuration,
                                                  Core::KELP::Unread &unread,
                                                  const std::string &measured = {});

boost::json::object asJson(const StoredApplication &application);

boost::json::array asJson(const std::vector<std::filesystem::path> &paths);

boost::json::object asJson(const Core::KELP::RegistryRecord &record);

/// The rows of a table of records, with its heading.
std::vector<std::vector<std::string>> historyTable(const std::vector<Core::KELP::RegistryRecord> &records);

/// The records of one package, or of all for an empty id, in the order of the registry, the oldest first.
/// Unreadable lines go to `unread`. Raises as readRegistry() does.
std::vector<Core::KELP::RegistryRecord> historyOf(const std::string &id, Core::KELP::Unread &unread);

} // namespace KelpCtl
