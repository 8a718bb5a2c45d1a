#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Core::KELP {

enum class RegistryEvent : std::uint32_t {
    Install = 0, ///< "I" in the file
    Update = 1,  ///< "U"
    Remove = 2,  ///< "R"
};

/// One event in the history of a package.
class RegistryRecord {
public:
    /// `timestamp` counts seconds since the epoch. `previousKeyIds` are earlier key ids of the same
    /// developer.
    RegistryRecord(RegistryEvent event, std::int64_t timestamp, std::string packageId, std::string keyId,
                   std::vector<std::string> previousKeyIds = {}) :
        event_(event),
        timestamp_(timestamp),
        packageId_(std::move(packageId)),
        keyId_(std::move(keyId)),
        previousKeyIds_(std::move(previousKeyIds)) {}

    RegistryEvent event() const { return event_; }
    std::int64_t timestamp() const { return timestamp_; }
    const std::string &packageId() const { return packageId_; }
    const std::string &keyId() const { return keyId_; }
    const std::vector<std::string> &previousKeyIds() const { return previousKeyIds_; }

private:
    RegistryEvent event_;
    std::int64_t timestamp_;
    std::string packageId_;
    std::string keyId_;
    std::vector<std::string> previousKeyIds_;
};

/// The record as one line of the registry, without the line end:
///
///     timestamp=1700000000 event=I package=demo keyid=AB12 prev-keyids=FF01->FF02
///
/// The word `prev-keyids` is left out when there are no previous key ids. Throws std::out_of_range for an
/// event that is none of the enumeration.
std::string formatRecord(const RegistryRecord &record);

/// Whether parseRecord() logs the fault of a line.
enum class Complaints { Logged, Passed };

/// Reads the record in a line; nothing if the line lacks a value other than that of `prev-keyids`, or has one
/// that cannot be used. If a key is repeated, its last value counts; of `prev-keyids`, all values count. An
/// unknown key is skipped, so that later versions can add keys; the record does not keep it. Unusable lines
/// and unknown keys are logged, unless `complaints` says otherwise.
std::optional<RegistryRecord> parseRecord(const std::string &line,
                                          Complaints complaints = Complaints::Logged);

} // namespace Core::KELP
