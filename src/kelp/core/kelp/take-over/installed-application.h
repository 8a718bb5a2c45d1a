#pragma once

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/kelp/incoming/rpm-package.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Common::Rpm {
class Reader;
class Transaction;
} // namespace Common::Rpm

namespace Core::KELP {

/// rpm's record of an application to take over, without librpm's header, which is large.
struct InstalledApplication {
    RpmPackage package;
    std::vector<std::uint64_t> sizes; ///< Of each of the package's files, as the record has it.
    std::vector<bool> isErased; ///< Whether rpm would take it away: neither a directory, which it leaves when
                                ///< that holds anything, nor what it never put there.
};

/// Reads the record, with all names of a hard-linked file, as rpm has them. Raises as Reader::tag() and
/// FileIterator do.
InstalledApplication readApplication(const Common::Rpm::Reader &record, const std::string &keyId,
                                     const std::optional<std::string> &orgName,
                                     const std::optional<std::string> &appName,
                                     Common::Rpm::FileIterator::Unexpected unexpected);

/// Calls `callback` for each of rpm's records. Returns whether rpm skipped records that it could not read.
/// Raises ErrorCode::Internal "Couldn't read the rpm database" if rpm did not give all readable records. A
/// missed application would stay in rpm for good, and its files would seem to belong to nobody.
bool forEachRecord(const Common::Rpm::Transaction &rpm,
                   const std::function<void(const Common::Rpm::Reader &)> &callback);

/// What `read` returns; nothing after a failure, which is logged.
template<class Read>
auto unlessUnreadable(const Read &read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
        Common::LogStream(Common::LogLevel::Warning)
            << "Couldn't extract a package information required for migration";
        return std::nullopt;
    }
}

} // namespace Core::KELP
