#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// Replaces each path below one of the directories `homes` by "<home>", since the names of people's files are
/// private. The end of a path is a guess, since names may have blanks. A path ends at the first quotation
/// mark, ": ", " -> ", NUL or line feed. So the text after a path may be removed too. If a name holds one of
/// these marks, the rest of the name stays.
std::string withoutHomes(std::string_view text, const std::vector<std::string> &homes);

/// The directory of a report, closed to other users. It is held open, so that files get there even after a
/// change of root.
class ReportDirectory {
public:
    /// Makes it. Raises ErrorCode::Filesystem when the name is taken, or it cannot be made.
    explicit ReportDirectory(const std::filesystem::path &path);

    /// Leaves paths below these directories out of all later files.
    void leaveOut(std::vector<std::string> homes) { homes_ = std::move(homes); }

    /// Makes a file in it. Raises ErrorCode::Filesystem; then the file is cut short or missing.
    void write(const std::string &name, std::string_view text) const;

private:
    std::filesystem::path path_;
    Common::FileDescriptor directory_;
    std::vector<std::string> homes_;
};

} // namespace KelpCtl
