#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "kelp/core/kelp/validator/header/header-findings.h"

#include <string_view>

namespace Validator {

/// The data of every check of a package's header.
struct HeaderCheck {
    const RpmMeta &meta;
    const Config &config;
    Logger &logger;
};

// The capabilities that a package names (dependency-checks.cpp). Each reports in the order of the header.

/// A package may provide its profile's required name, names of its own, its application and handlers of MIME
/// types.
void checkProvides(const HeaderCheck &check);
/// A package may conflict with its profile's required name, and nothing else.
void checkConflicts(const HeaderCheck &check);
/// A package obsoletes nothing.
void checkObsoletes(const HeaderCheck &check);
/// A package requires only packages and libraries that its profile lists.
void checkRequirements(const HeaderCheck &check);

// The file list and its symbolic links (file-checks.cpp).

/// The rules on an entry of the file list by its kind, then on the ending of its name.
void checkFile(const HeaderCheck &check, const FileInfo &file);
/// Objects to every directory below which the package has nothing.
void checkEmptyDirectories(const HeaderCheck &check);

/// A symbolic link of a package leads to an entry of the same package. The target is resolved by its text
/// alone: "../" at the beginning is followed; later "./" and ".." count as names.
void checkLink(const HeaderCheck &check, const FileInfo &link);
/// Whether checkLink() accepts the link's target.
bool leadsIntoPackage(const RpmMeta &meta, std::string_view path, std::string_view target);

} // namespace Validator
