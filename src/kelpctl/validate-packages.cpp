#include "kelpctl/validate-packages.h"

#include "kelpctl/shown-text.h"

#include "kelp/core/common/error-category.h"
#include "kelp/core/common/error.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/kelp/rpm-package.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

using Common::ErrorCategory;
using Common::ErrorCode;

constexpr int progressThreshold = 2000; ///< Files from which on a package takes long enough to be announced.

/// A directory that is gone, with all in it, at the end.
class TemporaryTree {
public:
    TemporaryTree() {
        std::string name = (fs::temp_directory_path() / "kelpctl-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw Common::Error(ErrorCode::Filesystem, "Couldn't create temporary directory");
        path_ = name;
    }
    TemporaryTree(const TemporaryTree &) = delete;
    TemporaryTree &operator=(const TemporaryTree &) = delete;
    ~TemporaryTree() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    const fs::path &path() const { return path_; }

private:
    fs::path path_;
};

void unpackAndJudge(const Core::KELP::RpmPackage &package, const ValidateOptions &options) {
    if (options.keep.empty()) {
        const TemporaryTree tree;
        return package.validate(tree.path(), options.profile);
    }
    const fs::path tree = options.keep / (package.id() + "-" + package.version());
    if (fs::exists(fs::symlink_status(tree)))
        throw std::runtime_error(tree.string() + " exists already");
    package.validate(tree, options.profile);
}

void announce(const Core::KELP::RpmPackage &package, const std::string &file) {
    if (::isatty(STDERR_FILENO) && package.files().size() >= progressThreshold)
        std::cerr << shown(file) << ": validating " << package.files().size() << " files...\n";
}

/// Whether an error is about the machine and not about the package.
bool isTrouble(const Common::Error &error) {
    return error.code() == ErrorCategory::make(ErrorCode::FileNotFound) ||
           error.code() == ErrorCategory::make(ErrorCode::Filesystem);
}

ExitStatus reportTrouble(const std::string &file, const std::exception &error) {
    std::cerr << "kelpctl: " << shown(file) << ": " << shown(error.what()) << std::endl;
    return ExitStatus::Trouble;
}

ExitStatus validatePackage(const std::string &file, const ValidateOptions &options, std::ostream &output) {
    try {
        const auto package = Core::KELP::RpmPackage::fromFile(file, {});
        announce(package, file);
        unpackAndJudge(package, options);
        output << shown(file) << ": accepted" << std::endl;
        return ExitStatus::Accepted;
    } catch (const Common::Error &error) {
        if (isTrouble(error))
            return reportTrouble(file, error);
        output << shown(file) << ": refused: " << shown(error.what()) << std::endl;
        return ExitStatus::Refused;
    } catch (const std::exception &error) {
        return reportTrouble(file, error);
    }
}

} // namespace

ExitStatus validatePackages(const ValidateOptions &options, std::ostream &output) {
    ExitStatus worst = ExitStatus::Accepted;
    for (const std::string &file : options.packages)
        worst = std::max(worst, validatePackage(file, options, output));
    return worst;
}

} // namespace KelpCtl
