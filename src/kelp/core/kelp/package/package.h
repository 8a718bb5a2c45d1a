#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Core::KELP {

/// The summary of one signature of a package.
struct PackageSignatureInfo {
    std::string keyId;
    std::string subgroup;
    std::vector<std::string> previousKeyIds; ///< Earlier key ids of the same signer.
};

struct PackageStaging;

/// A package that is not yet, or not only, in the store: who it is, who signed it, and how to stage it. Held
/// by std::shared_ptr made with the concrete type.
class Package {
public:
    /// Stages the package's files in the directory `destination`, and returns the values for the store.
    /// `versionDirectory` is their later place; links point there.
    virtual PackageStaging extract(const std::filesystem::path &destination,
                                   const std::filesystem::path &versionDirectory) const = 0;

    const std::string &id() const { return id_; }
    const std::string &version() const { return version_; } ///< VERSION-RELEASE for rpm packages.
    const std::string &architecture() const { return architecture_; }
    const PackageSignatureInfo &firstSignature() const { return firstSignature_; }   ///< The developer's.
    const PackageSignatureInfo &secondSignature() const { return secondSignature_; } ///< The source's.
    const std::optional<std::string> &orgName() const { return orgName_; }
    const std::optional<std::string> &appName() const { return appName_; }

protected:
    Package(std::string id, std::string version, std::string architecture,
            PackageSignatureInfo firstSignature, PackageSignatureInfo secondSignature,
            std::optional<std::string> orgName, std::optional<std::string> appName) :
        id_(std::move(id)),
        version_(std::move(version)),
        architecture_(std::move(architecture)),
        firstSignature_(std::move(firstSignature)),
        secondSignature_(std::move(secondSignature)),
        orgName_(std::move(orgName)),
        appName_(std::move(appName)) {}
    Package(const Package &) = default;
    Package &operator=(const Package &) = default;
    ~Package() = default;

private:
    std::string id_;
    std::string version_;
    std::string architecture_;
    PackageSignatureInfo firstSignature_;
    PackageSignatureInfo secondSignature_;
    std::optional<std::string> orgName_;
    std::optional<std::string> appName_;
};

/// The package of a descriptor whose package file is gone. It has its identity and its developer's signature;
/// staging it raises ErrorCode::Internal. Null when the descriptor lacks a required key.
std::shared_ptr<Package> makeEmergencyPackage(const PackageInformation &information);

} // namespace Core::KELP
