#include "kelp/core/kelp/package/package.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/package-information.h"

#include <algorithm>

namespace Core::KELP {

namespace {

class EmergencyPackage final : public Package {
public:
    explicit EmergencyPackage(PackageIdentity identity) : Package(std::move(identity)) {}

    /// Has no file to unpack: the package only has the identity of the installed one.
    PackageStaging extract(const std::filesystem::path &, const std::filesystem::path &) const override {
        throw Common::Error(Common::ErrorCode::Internal, "Unimplemented in EmergencyPackage");
    }
};

bool isComplete(const PackageInformation &information) {
    return std::ranges::all_of(requiredDescriptorKeys,
                               [&](const char *key) { return information.contains(key); });
}

} // namespace

std::shared_ptr<Package> makeEmergencyPackage(const PackageInformation &information) {
    if (!isComplete(information))
        return nullptr;
    return std::make_shared<EmergencyPackage>(PackageIdentity{
        .id = information.at("general.id"),
        .version = information.at("general.version"),
        .firstSignature = {information.at("certificate.id"), information.at("certificate.subgroup"),
                           previousKeyIds(information)},
        .orgName = valueOf(information, "general.orgname"),
        .appName = valueOf(information, "general.appname")});
}

} // namespace Core::KELP
