#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// A text in which each path below one of the directories `homes` is "<home>": the names of people's files
/// are nobody's business. Where a path ends cannot be told from its text, as names have blanks in them: it
/// ends at a quotation mark, before ": ", ", ", "; " and " -> ", and with its line. Rather too much is left
/// out than too little.
std::string withoutHomes(std::string_view text, const std::vector<std::string> &homes);

/// The directory of a report, root's or its maker's alone. It is held open, so that the files get there also
/// when the process has another root by then.
class ReportDirectory {
public:
    /// Makes it. Raises ErrorCode::Filesystem when there is anything of the name, or it cannot be made.
    explicit ReportDirectory(const std::filesystem::path &path);

    /// Paths below these directories are left out of what is written from now on.
    void leaveOut(std::vector<std::string> homes) { homes_ = std::move(homes); }

    /// Makes a file in it. Raises ErrorCode::Filesystem; then the file is cut short, or not there.
    void write(const std::string &name, std::string_view text) const;

private:
    std::filesystem::path path_;
    Common::FileDescriptor directory_;
    std::vector<std::string> homes_;
};

} // namespace KelpCtl
