#include "kelp/core/kelp/validator/header/header-checks.h"

namespace Validator {

namespace {

constexpr std::string_view upward = "../";

/// The path up to, not including, its last slash; all of it when it has none.
std::string_view parentOf(std::string_view path) {
    return path.substr(0, path.rfind('/'));
}

/// The path in the package to which a link at `path` leads. Takes the leading "../" off a relative target. By
/// the text alone: a link of the judging machine must not change a verdict.
std::string resolve(std::string_view path, std::string_view &target) {
    std::string_view directory = parentOf(path);
    if (target.empty())
        return std::string(directory);
    if (target.starts_with('/'))
        return std::string(target);
    // Surplus ones end at the root, as for the kernel. A later ".." could only match an entry with such a
    // path, which is never unpacked.
    for (; target.starts_with(upward); target.remove_prefix(upward.size()))
        directory = parentOf(directory);
    std::string resolved(directory);
    return resolved.append(1, '/').append(target);
}

} // namespace

bool leadsIntoPackage(const RpmMeta &meta, std::string_view path, std::string_view target) {
    return meta.holds(resolve(path, target));
}

void checkLink(const HeaderCheck &check, const FileInfo &link) {
    // A note at every link: makers may not expect that it is judged by its target.
    check.logger.log(PathRule::SymbolicLink, {link.path});
    std::string_view target = link.linkTarget;
    // Takes the leading "../" off the target; as always the message names only the rest.
    if (!check.meta.holds(resolve(link.path, target)))
        check.logger.log(PathRule::ForbiddenLinkTarget, {link.path, target});
}

} // namespace Validator
