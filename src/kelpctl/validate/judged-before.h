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

/// All that a verdict depends on beside the package and the profile, as fields of a line.
boost::json::object conditionsOf(const JudgeOptions &options, const std::string &overridesFile);

/// The reports in a file of lines, of earlier runs and of this one, which adds its own. Held by one run at a
/// time.
class JudgedBefore {
public:
    /// Opens the file, or makes it, and cuts a last line that a run could not finish. `conditions` are those
    /// fields of a line that must be the same for a package not to be judged again, beside its own digest and
    /// its profile. Raises std::runtime_error when another run holds the file, when it cannot be read or cut,
    /// and when a line of it is no report: nothing is changed then.
    JudgedBefore(const std::filesystem::path &file, boost::json::object conditions);

    /// The newest verdict on the package of that digest; nothing when there is none, or it is incomplete.
    std::optional<KnownVerdict> find(const std::string &sha256, const std::string &profile) const;

    /// Adds a line, with its end. When it cannot be written as a whole nothing of it stays, as far as
    /// the disk lets that be, and std::runtime_error is raised.
    void add(const std::string &text);

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
