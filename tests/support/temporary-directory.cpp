#include "support/temporary-directory.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

TemporaryDirectory::TemporaryDirectory() {
    std::string model = "/dev/shm/kelp-test-XXXXXX";
    // Before Linux 6.6 files in memory have no user attributes.
    if (std::getenv("TMPDIR") || !::mkdtemp(model.data()) ||
        (::setxattr(model.c_str(), "user.a", "", 0, 0) != 0 && ::rmdir(model.c_str()) == 0)) {
        model = (std::filesystem::temp_directory_path() / "kelp-test-XXXXXX").string();
        if (!::mkdtemp(model.data()))
            throw std::runtime_error("cannot make a temporary directory");
    }
    path_ = model;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}
