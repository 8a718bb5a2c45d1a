#include "kelp/core/kelp/incoming/resolve-link.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

bool isPlainRelative(const fs::path &target) {
    return !target.has_root_directory() && !target.empty() && target.native().front() != '.';
}

fs::path systemPathOf(const fs::path &target, const fs::path &link) {
    return target.has_root_directory() ? target : fs::weakly_canonical(link.parent_path() / target);
}

} // namespace

std::pair<fs::path, fs::path> resolveLink(const fs::path &path, const fs::path &target,
                                          const fs::path &destination, const fs::path &versionDirectory,
                                          const PathTranslation &translate) {
    const fs::path resolved = isPlainRelative(target)
                                  ? target
                                  : fs::absolute(versionDirectory / translate(systemPathOf(target, path)));
    return {destination / translate(path), resolved};
}

} // namespace Core::KELP
