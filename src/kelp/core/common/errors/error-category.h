#pragma once

#include <cstdint>

#include "kelp/core/common/errors/category-of-rows.h"

namespace Common {

/// The kind of a failure. The numbers are shared with other programs of the platform and cross process
/// boundaries as unsigned 32-bit integers; 4, 7, 9 and 12 are unassigned.
enum class ErrorCode : std::uint32_t {
    None = 0,
    Filesystem = 1,
    Internal = 2,
    FileNotFound = 3,
    BadPackageID = 5,
    BadPackageArchitecture = 6,
    DowngradeAttempt = 8,
    PackageNotExist = 10,
    CorruptedInstalledPackage = 11,
    UnauthorizedAccess = 13,
    SystemPackageInstallationAttempt = 14,
    PackagesWithoutSourceNotAllowed = 15,
    SourceRejectedByAdministrator = 16,
    UserNotAuthorizedToManageTrustedSources = 17,
    MissingDeveloperSignature = 18,
    DeveloperMismatch = 19,
    DeveloperKeySuperseded = 20,
    DeveloperKeyBlacklisted = 21,
    IllegalDeveloperCertificate = 22,
    IllegalSourceCertificate = 23,
    BadPackageVersion = 24,
    BadPackageContent = 25,
    BadPackageFileFormat = 26,
    PackageHasDisallowedOrgname = 27,
    FileConflict = 28,
    SamePackageIsInstalled = 29,
    InvalidArguments = 30,
    SourceNotAllowed = 31,
    PackageProfileConflict = 32,
    SignatureVerificationFailed = 33,
    DisallowedDeveloperSubgroup = 34,
};

/// The error category of the package store; its codes are those of ErrorCode. Its name() is
/// "Common::ErrorCategory", and a code without a row counts as ErrorCode::Internal.
using ErrorCategory = CategoryOfRows<ErrorCode>;

template<>
const RowsCategory &ErrorCategory::rows();

} // namespace Common
