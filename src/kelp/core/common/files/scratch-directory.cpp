#include "kelp/core/common/files/scratch-directory.h"

#include "kelp/core/common/errors/error.h"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace Common {

namespace {

/// Makes it for its owner alone, with an unpredictable name: no other user can read or replace the copies in
/// it. Empty, with the reason in `error`, when it cannot be made.
std::filesystem::path makeBelow(const std::filesystem::path &directory, std::error_code &error) {
    std::string name = (directory / "kelp-XXXXXX").string();
    if (::mkdtemp(name.data()))
        return name;
    error.assign(errno, std::generic_category());
    return {};
}

} // namespace

ScratchDirectory::ScratchDirectory() {
    std::error_code error;
    const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
    if (!error)
        path_ = makeBelow(temporary, error);
    std::error_code ignored; // People can mend the temporary directory: its error counts.
    const char *runtime = std::getenv("RUNTIME_DIRECTORY");
    if (path_.empty())
        path_ = makeBelow(runtime ? runtime : "/run", ignored);
    if (path_.empty())
        throw Error(ErrorCode::Filesystem, "Couldn't create temporary directory; TMPDIR names another place",
                    error.value());
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace Common
