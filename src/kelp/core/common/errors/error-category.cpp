#include "kelp/core/common/errors/error-category.h"

namespace Common {

namespace {

/// Other programs know codes by their numbers: 4, 7, 9 and 12 are not assigned, and no code changes its
/// own.
constexpr ErrorRow errorRows[] = {
    {0, "io.tvk.KELP.Error.None", "No error occurred"},
    {1, "io.tvk.KELP.Error.Filesystem", "Filesystem error occurred"},
    {2, "io.tvk.KELP.Error.Internal", "Internal error occurred"},
    {3, "io.tvk.KELP.Error.FileNotFound", "The installation package path does not exist"},
    {5, "io.tvk.KELP.Error.BadPackageID", "The package has an invalid ID"},
    {6, "io.tvk.KELP.Error.BadPackageArchitecture",
     "The package architecture does not match the system architecture"},
    {8, "io.tvk.KELP.Error.DowngradeAttempt", "Attempt to downgrade the package"},
    {10, "io.tvk.KELP.Error.PackageNotExist", "The package does not exist"},
    {11, "io.tvk.KELP.Error.CorruptedInstalledPackage", "Attempt to retrieve data about a corrupted package"},
    {13, "io.tvk.KELP.Error.UnauthorizedAccess", "The process is not authorized to perform the action"},
    {14, "io.tvk.KELP.Error.SystemPackageInstallationAttempt",
     "Attempt to install a package with system developer signature"},
    {15, "io.tvk.KELP.Error.PackagesWithoutSourceNotAllowed",
     "Installation of packages without a source signature is not allowed"},
    {16, "io.tvk.KELP.Error.SourceRejectedByAdministrator",
     "The administrator rejected the request to add a source to the trusted list"},
    {17, "io.tvk.KELP.Error.UserNotAuthorizedToManageTrustedSources",
     "The current user has no rights to add a source to the trusted list"},
    {18, "io.tvk.KELP.Error.MissingDeveloperSignature", "The package does not have a developer's signature"},
    {19, "io.tvk.KELP.Error.DeveloperMismatch",
     "The developer of the already installed package does not match the developer of the package being "
     "installed"},
    {20, "io.tvk.KELP.Error.DeveloperKeySuperseded",
     "The package is signed with a developer key that has been superseded"},
    {21, "io.tvk.KELP.Error.DeveloperKeyBlacklisted",
     "The package is signed with a developer key that has been blacklisted"},
    {22, "io.tvk.KELP.Error.IllegalDeveloperCertificate",
     "The package is signed with an illegal developer certificate"},
    {23, "io.tvk.KELP.Error.IllegalSourceCertificate",
     "The package is signed with an illegal source certificate"},
    {24, "io.tvk.KELP.Error.BadPackageVersion", "The package version has an incorrect value"},
    {25, "io.tvk.KELP.Error.BadPackageContent", "The package did not pass content validation"},
    {26, "io.tvk.KELP.Error.BadPackageFileFormat",
     "Failed to parse the package or read the required package data"},
    {27, "io.tvk.KELP.Error.PackageHasDisallowedOrgname", "The package has a disallowed organization name"},
    {28, "io.tvk.KELP.Error.FileConflict", "File conflict found when installing the package"},
    {29, "io.tvk.KELP.Error.SamePackageIsInstalled", "Package with the same version is already installed"},
    {30, "io.tvk.KELP.Error.InvalidArguments", "The passed arguments are not valid"},
    {31, "io.tvk.KELP.Error.SourceNotAllowed", "Source not allowed by administrator"},
    {32, "io.tvk.KELP.Error.PackageProfileConflict", "Package with this unique profile is already installed"},
    {33, "io.tvk.KELP.Error.SignatureVerificationFailed", "Package signature verification failed"},
    {34, "io.tvk.KELP.Error.DisallowedDeveloperSubgroup",
     "The package has a developer signature with a disallowed subgroup"},
};

} // namespace

template<>
const RowsCategory &ErrorCategory::rows() {
    static const RowsCategory category("Common::ErrorCategory", errorRows,
                                       static_cast<std::int32_t>(ErrorCode::Internal));
    return category;
}

} // namespace Common
