#include "kelp/core/common/files/scratch-directory.h"

#include "kelp/core/common/errors/error.h"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace Common {

ScratchDirectory::ScratchDirectory() {
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "kelp-XXXXXX").string();
    // Made with a name that nobody could foresee, for its owner alone: what is copied here no other user can
    // read or replace.
    if (error || !::mkdtemp(name.data()))
        throw Error(ErrorCode::Filesystem, "Couldn't create temporary directory; TMPDIR names another place",
                    error ? error.value() : errno);
    path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace Common
