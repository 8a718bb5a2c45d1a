#pragma once

#include "kelp/core/common/files/durable-file.h"

#include <compare>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

class Mapping;

/// A file that is published at `target` from `source` below the package's link `current`. Both are absolute.
/// Text, not path objects: those are large, and a version may have tens of thousands.
struct PlannedFile {
    std::string target;
    std::string source;

    auto operator<=>(const PlannedFile &) const = default;
};

/// The files that the publication of a version makes, and the directories that it makes or finds. When the
/// store publishes a version, it keeps the plan on disk from before the first file is published until the
/// lists are durable. If the plan cannot be written, the store publishes only a version whose list of files
/// is complete already. A take-over has its journal instead. If a publication is interrupted, the next update
/// or removal, or `kelpctl doctor`, reads in the plan which files and directories may be there.
struct PublicationPlan {
    std::vector<PlannedFile> files;       ///< In the order in which they are made.
    std::vector<std::string> directories; ///< Each before what lies in it.

    bool operator==(const PublicationPlan &) const = default;
};

/// How planPublication() takes links of the package that lead nowhere.
enum class DanglingLinks {
    Fail,  ///< One raises ErrorCode::Filesystem "Couldn't read directory: PATH", or is no source of a row.
    Count, ///< As links, which they are: in a staged tree those into the version itself lead nowhere yet.
};

/// The plan to publish the version whose tree is `tree`. The sources in the plan lead through `current`,
/// which is the link to that version, or will be. A link counts as a file, even if it leads to a directory.
/// Files named like an unfinished copy (Common::unfinishedCopyName) are left out. Raises
/// ErrorCode::Filesystem when the tree cannot be read.
PublicationPlan planPublication(const std::filesystem::path &tree, const std::filesystem::path &current,
                                const std::vector<Mapping> &mappings, DanglingLinks danglingLinks);

/// The same, file by file and directory by directory, for callers that keep another list of them. Raises what
/// the two raise.
void walkPublication(const std::filesystem::path &tree, const std::filesystem::path &current,
                     const std::vector<Mapping> &mappings, DanglingLinks danglingLinks,
                     const std::function<void(PlannedFile)> &useFile,
                     const std::function<void(std::string)> &useDirectory);

/// Writes the file of a plan durably. Raises ErrorCode::Filesystem, and then leaves the earlier plan, if
/// there was one, or the new one.
void writePublicationPlan(const std::filesystem::path &file, const PublicationPlan &plan);

/// The plan of a text; nothing when the text is torn.
std::optional<PublicationPlan> parsePublicationPlan(const std::string &text);

} // namespace Core::KELP
