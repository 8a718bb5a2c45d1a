#include "kelp/core/trusted-sources/error-category.h"

namespace Core::TrustedSources {

namespace {

/// Other programs know codes by their numbers. Code 0 is a failure here, and success in the store's category.
constexpr Common::ErrorRow errorRows[] = {
    {0, "io.tvk.KELP.TrustedSources.Error.Internal", "Internal error occurred"},
    {1, "io.tvk.KELP.TrustedSources.Error.SourceNotFound", "The source does not exist"},
    {2, "io.tvk.KELP.TrustedSources.Error.UnauthorizedAccess",
     "The process is not authorized to perform the action"},
    {3, "io.tvk.KELP.TrustedSources.Error.PackagesWithoutSourceNotAllowed",
     "Installation of packages without a source signature is not allowed"},
    {4, "io.tvk.KELP.TrustedSources.Error.SourceRejectedByAdministrator",
     "The administrator declined the request to add a source to the trusted list"},
    {5, "io.tvk.KELP.TrustedSources.Error.UserNotAuthorizedToManageTrustedSources",
     "The current user has no rights to add a source to the trusted list"},
    {6, "io.tvk.KELP.TrustedSources.Error.SourceNotAllowed", "Source not allowed by administrator"},
};

} // namespace

} // namespace Core::TrustedSources

template<>
const Common::RowsCategory &Core::TrustedSources::ErrorCategory::rows() {
    using Core::TrustedSources::errorRows;
    static const Common::RowsCategory category(
        "Core::TrustedSources::ErrorCategory", errorRows,
        static_cast<std::int32_t>(Core::TrustedSources::ErrorCode::Internal));
    return category;
}
