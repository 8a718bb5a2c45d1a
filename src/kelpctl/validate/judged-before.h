#pragma once

#include "kelpctl/validate/package-judge.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <boost/json/object.hpp>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace KelpCtl {

/// The conditions of a verdict beside the package and the profile, as fields of a line.
boost::json::object conditionsOf(const JudgeOptions &options, const std::string &overridesFile);

/// A file of report lines, of earlier runs and of this one. Held by one run at a time.
class JudgedBefore {
public:
    /// Opens or makes the file, and cuts off a last line that an interrupted run did not finish. An earlier
    /// verdict counts if its line has the same `conditions`, digest of the package and profile. Raises
    /// std::runtime_error when another run holds the file, when it cannot be opened, read or cut, and when it
    /// holds anything but reports. After any of these errors the file keeps its text.
    JudgedBefore(const std::filesystem::path &file, boost::json::object conditions);

    /// The newest verdict on the package of that digest; nothing if there is none, or it is incomplete.
    std::optional<KnownVerdict> find(const std::string &sha256, const std::string &profile) const;

    /// Adds a line, with its end. If it cannot be written as a whole, removes its part, as far as the disk
    /// allows, and raises std::runtime_error.
    void add(const std::string &text);

    /// Call it in a process that was forked from the holder of the file. Otherwise that process would hold
    /// the file too: a judge that outlives a killed run would lock the next run out.
    void leave() { file_ = Common::FileDescriptor(); }

    using Key = std::pair<std::uint64_t, std::uint64_t>;

private:
    enum class Newest : std::uint8_t { Incomplete, Accepted, AcceptedWithWarning, Refused };

    void readLines();
    void remember(const std::string &line);

    std::string name_;
    boost::json::object conditions_;
    Common::FileDescriptor file_;
    std::map<Key, Newest> verdicts_;
};

} // namespace KelpCtl
