#include "kelp/core/trusted-sources/error-category.h"

#include "kelp/core/common/error-table.h"

namespace Core::TrustedSources {

namespace {

using Common::ErrorTable;

constexpr Common::ErrorRow rows[] = {
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

const ErrorTable &table() {
    static const ErrorTable instance(rows, static_cast<std::int32_t>(ErrorCode::Internal));
    return instance;
}

class ErrorCodeCategoryImpl final : public std::error_category {
public:
    const char *name() const noexcept override { return "Core::TrustedSources::ErrorCategory"; }
    std::string message(int code) const override { return table().message(code); }
};

} // namespace

const std::error_category &ErrorCategory::instance() {
    static const ErrorCodeCategoryImpl category;
    return category;
}

std::error_code ErrorCategory::make(ErrorCode code) {
    return {static_cast<int>(code), instance()};
}

Common::ErrorDescription ErrorCategory::describeCode(std::int32_t code) {
    return table().describeCode(code);
}

Common::ErrorDescription ErrorCategory::describeName(std::string_view name) {
    return table().describeName(name);
}

} // namespace Core::TrustedSources
