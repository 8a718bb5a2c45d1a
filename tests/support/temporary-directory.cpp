#include "support/temporary-directory.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

TemporaryDirectory::TemporaryDirectory() {
    std::string model = (std::filesystem::temp_directory_path() / "kelp-test-XXXXXX").string();
    if (!::mkdtemp(model.data()))
        throw std::runtime_error("cannot make a temporary directory");
    path_ = model;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}
