#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Removes a package from the store, the registry and the sources. First completes an interrupted removal. If
/// that was of this package, only the checks at the end remain. Otherwise completes or rolls back unfinished
/// operations of this package, where possible, and removes it. Returns the foreign entries left in its
/// directory. Raises std::invalid_argument for a text that cannot be an id, ErrorCode::PackageNotExist for a
/// missing package, ErrorCode::FileConflict if the package's directory is a link or `next` or `prev` leads to
/// a version of another, and ErrorCode::Internal if the package is on its way from rpm. Raises
/// ErrorCode::Filesystem if the file below cannot be written. Also raises as completeRemoval(), and as the
/// looks at the machine do. The caller holds the writers' lock.
///
/// Four failures are raised only after all other steps. Published files that could not be removed, which are
/// noted (left-behind.h), raise ErrorCode::Internal. So do files that stay published because a foreign
/// directory stands in place of the link `current`, and a record of the package in rpm, by which the next
/// take-over would bring it back without its files. A binding that stays, since the database of sources could
/// not be read, raises ErrorCode::Filesystem. Of several such failures only the first is raised.
///
/// The file var/lib/kelp/removal names the package from before anything is removed until all steps are done.
/// The four failures above do not keep it. The next removal, or `kelpctl doctor --repair`, completes a
/// removal that was killed meanwhile. It also completes one that failed meanwhile, such as with
/// ErrorCode::Filesystem "Couldn't add a package removal record to the registry: ID".
std::vector<std::filesystem::path> removePackage(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
