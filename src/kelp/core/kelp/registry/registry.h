#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace Core::KELP {

class RegistryRecord;

/// The path of the registry.
std::filesystem::path registryFile();

/// The note of a removal: it names the package from before the first step until after the last.
std::filesystem::path removalFile();

/// The package whose removal was begun and not completed. Raises ErrorCode::UnauthorizedAccess when only root
/// can read the note, and ErrorCode::Filesystem when the read fails.
std::optional<std::string> unfinishedRemoval();

/// The log of package events, which outlives the packages: it remembers which developer key installed which
/// id. The file is var/lib/kelp/registry below the root prefix, with one record a line, the oldest first;
/// docs/formats.md describes it.
///
/// Several processes may use it at once. Every operation, reading included, waits for the advisory lock
/// (fcntl(2)) on the file "registry.lock" beside it, which is made when needed and never removed. The lock
/// does not separate threads of one process. An operation that fails logs that and returns false.
class Registry {
public:
    /// Calls `callback` for each good record, in file order. A bad line is logged and skipped; an absent file
    /// is an empty registry.
    bool foreachRecord(const std::function<void(const RegistryRecord &)> &callback) const;

    /// Appends the record, and drops older records of the package that it supersedes. One walk from the
    /// newest record to the oldest finds the candidates. A candidate is a record of the package with the new
    /// record's key, or with a previous key that the new record or a newer candidate names. An installation
    /// or removal supersedes all candidates; an update leaves the records of installations.
    ///
    /// The file is replaced in one step: after a failure or a power cut it has the old content or the new
    /// one. A file with unreadable lines is first kept as "registry.damaged-N", with the first free N: those
    /// lines may be the only trace of an event.
    bool writeRecord(const RegistryRecord &record) const;

    /// The same for several, in their order and as one replacement: adds all or none.
    bool writeRecords(std::span<const RegistryRecord> records) const;

    /// Writes the registry anew without lines that cannot be read, after keeping the file as writeRecord()
    /// does. Does not log these lines.
    bool dropBadLines() const;
};

} // namespace Core::KELP
