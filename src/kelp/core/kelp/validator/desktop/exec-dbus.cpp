#include "kelp/core/kelp/validator/desktop/desktop-checks.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

namespace Validator {

namespace {

struct Free {
    void operator()(char *text) const { std::free(text); }
};

/// What the package's own tree answers for a path that leads to no program.
constexpr int faultsOfThePath[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG};

/// The path without links, or nothing where it leads nowhere.
/// A link in the package's directory to a program of the system must not pass for one of the package.
std::string resolved(const std::string &path) {
    const std::unique_ptr<char, Free> result(::realpath(path.c_str(), nullptr));
    if (result)
        return result.get();
    if (std::ranges::find(faultsOfThePath, errno) == std::end(faultsOfThePath))
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path, errno);
    std::cerr << "ExecDBus error: " << std::strerror(errno) << '\n';
    return {};
}

std::string unpackedPathOf(const std::string &systemPath, const UnpackedTree &tree) {
    return tree.root + "/" + Core::KELP::packagePathOf(systemPath, tree.mappings).string();
}

} // namespace

bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree) {
    // Joined with the root as texts: to the standard path type an absolute program would be a path of its
    // own.
    std::string program(programOf(launchLine));
    std::string binary = "/usr/bin/" + packageName;
    std::string directory = "/usr/libexec/" + packageName;
    // Resolved in any case, as its line on standard error belongs to the report; then the main binary passes
    // by its name: whether it is there, the checker of programs says.
    if (tree.mappings.empty())
        return resolved(tree.root + program).find(directory) != std::string::npos || program == binary;

    for (std::string *path : {&binary, &program, &directory})
        *path = unpackedPathOf(*path, tree);
    return resolved(program).find(directory) != std::string::npos || program == binary;
}

} // namespace Validator
