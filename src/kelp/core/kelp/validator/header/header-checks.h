#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "kelp/core/kelp/validator/header/header-findings.h"

#include <string_view>

namespace Validator {

/// What every check of a package's header works with.
struct HeaderCheck {
    const RpmMeta &meta;
    const Config &config;
    Logger &logger;
};

// The capabilities that a package names (dependency-checks.cpp). Each reports in the order of the header.

/// A package provides what its profile demands, names of its own, its application and handlers of MIME types.
void checkProvides(const HeaderCheck &check);
/// A package conflicts with what its profile demands, and nothing else.
void checkConflicts(const HeaderCheck &check);
/// A package obsoletes nothing.
void checkObsoletes(const HeaderCheck &check);
/// A package requires only packages and libraries that its profile lists.
void checkRequirements(const HeaderCheck &check);

// The file list (file-checks.cpp).

/// The rules on an entry of the file list by its kind, then on the ending of its name.
void checkFile(const HeaderCheck &check, const FileInfo &file);
/// Objects to every directory below which the package has nothing.
void checkEmptyDirectories(const HeaderCheck &check);

// The symbolic links of the file list (link-checks.cpp).

/// A symbolic link of a package leads to an entry of the same package. The target is resolved by its words
/// alone: "../" at its beginning is followed, "./" and ".." further on are names like any other.
void checkLink(const HeaderCheck &check, const FileInfo &link);
/// Whether checkLink() has nothing against where the link leads.
bool leadsIntoPackage(const RpmMeta &meta, std::string_view path, std::string_view target);

} // namespace Validator
