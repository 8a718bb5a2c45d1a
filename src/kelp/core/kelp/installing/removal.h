#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Removes a package from the store, and has registry and sources know. What was begun with it is completed
/// or taken back before, where that can be. Returns what is left in its directory, which is somebody else's.
/// Raises std::invalid_argument for a text that can be no id, ErrorCode::PackageNotExist for a package that
/// is not there, ErrorCode::FileConflict for one in whose place its owner has put a link, ErrorCode::Internal
/// for one on its way from rpm, and what the store raises. The caller holds the writers' lock.
/// What it has published and could not be taken back is noted (left-behind.h), and raises
/// ErrorCode::Internal when all else is done; other packages are removed meanwhile.
/// What stays published, as somebody's directory stands in place of the link `current`, raises the same.
/// A database of sources that cannot be read raises ErrorCode::Filesystem when all else is done.
///
/// The file var/lib/kelp/removal names the package from before the first step to after the last, so that a
/// removal that was killed anywhere is found and completed by the next one or by an examination. So it is
/// after a failure after the first step, ErrorCode::Filesystem "Couldn't add a package removal record to the
/// registry: ID" among them.
std::vector<std::filesystem::path> removePackage(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
