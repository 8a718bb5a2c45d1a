#include "kelp/core/kelp/package/integrity-resource.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/package/database-path-resolver.h"

#include <boost/algorithm/string/replace.hpp>

#include <fcntl.h>

#include <cerrno>
#include <fstream>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

/// A failed look must raise: otherwise the stamp would be made without the file.
bool isOldFileThere(const fs::path &path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    if (type == fs::file_type::none && error != std::errc::filename_too_long &&
        error != std::errc::too_many_symbolic_link_levels)
        throw Error(ErrorCode::Filesystem, "Failed to open resource integrityd file", error.value());
    return type != fs::file_type::not_found && type != fs::file_type::none;
}

std::string readOldFile(const fs::path &path) {
    // O_NONBLOCK: does not wait for the writer of a pipe.
    const Common::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0)
        throw Error(ErrorCode::Filesystem, "Failed to open resource integrityd file", errno);
    return Common::reraiseAs(ErrorCode::Filesystem, "Failed to read resource integrityd file",
                             [&] { return Common::readText(file, path); });
}

/// Whether the package shares data with others of its organisation, below the developer's key.
bool hasOwnDirectory(const PackageInformation &information) {
    const auto isThere = [&](const char *key) { return !valueOf(information, key).value_or("").empty(); };
    return isThere("general.id") && isThere("general.orgname") && isThere("certificate.id");
}

void writeResource(const fs::path &path, const std::string &content) {
    Common::createDirectories(path.parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    if (!stream)
        throw Error(ErrorCode::Filesystem, "Failed to open resource integrityd file");
    stream << content << std::flush;
    if (!stream)
        throw Error(ErrorCode::Filesystem, "Failed to create resource integrityd file");
    // Otherwise the migration's stamp could survive a power cut that undoes the content.
    Common::flushFile(path);
}

} // namespace

void migrateIntegrityFile(const PackageInformation &information) {
    const std::string id = valueOf(information, "general.id").value_or("");
    const fs::path source = Common::belowRoot("etc/integrityd/config.d") / (id + ".json");
    if (!hasOwnDirectory(information) || !isOldFileThere(source))
        return;
    const DatabasePathResolver resolver(Configuration::instance());
    writeResource(resolver.integrityResourceFile(id, PackageSlot::Current),
                  integrityResourceText(information, source).value_or(""));
}

std::optional<std::string> integrityResourceText(const PackageInformation &information,
                                                 const fs::path &source) {
    if (!hasOwnDirectory(information))
        return std::nullopt;
    std::string content = readOldFile(source);
    const std::string shared = "/usr/share/common/" + information.at("general.orgname") + "/";
    // Always from the old file, which stays: a second replacement in one text would add the key twice.
    boost::algorithm::replace_all(content, shared, shared + information.at("certificate.id") + "/");
    return content;
}

void removeIntegrityResource(const IDatabasePathResolver &pathResolver, const std::string &id) {
    const fs::path resource = pathResolver.integrityResourceFile(id, PackageSlot::Current);
    if (Common::exists(resource))
        Common::removeAll(resource);
}

} // namespace Core::KELP
