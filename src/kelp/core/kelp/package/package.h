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

/// Who a package is, and who signed it.
struct PackageIdentity {
    std::string id;
    std::string version; ///< VERSION-RELEASE for rpm packages.
    std::string architecture = {};
    PackageSignatureInfo firstSignature = {};  ///< The developer's.
    PackageSignatureInfo secondSignature = {}; ///< The source's.
    std::optional<std::string> orgName = {};
    std::optional<std::string> appName = {};
};

struct PackageStaging;

/// A package, wherever its files are: its identity, and how to stage it. Held by std::shared_ptr made with
/// the concrete type.
class Package {
public:
    /// Stages the package's files in the directory `destination`, and returns the values for the store.
    /// `versionDirectory` is their later place; links point there.
    virtual PackageStaging extract(const std::filesystem::path &destination,
                                   const std::filesystem::path &versionDirectory) const = 0;

    const std::string &id() const { return identity_.id; }
    const std::string &version() const { return identity_.version; }
    const std::string &architecture() const { return identity_.architecture; }
    const PackageSignatureInfo &firstSignature() const { return identity_.firstSignature; }
    const PackageSignatureInfo &secondSignature() const { return identity_.secondSignature; }
    const std::optional<std::string> &orgName() const { return identity_.orgName; }
    const std::optional<std::string> &appName() const { return identity_.appName; }

protected:
    explicit Package(PackageIdentity identity) : identity_(std::move(identity)) {}
    Package(const Package &) = default;
    Package &operator=(const Package &) = default;
    ~Package() = default;

private:
    PackageIdentity identity_;
};

/// The package of a descriptor whose package file is gone. It has its identity and its developer's signature;
/// staging it raises ErrorCode::Internal. Null when the descriptor lacks a required key.
std::shared_ptr<Package> makeEmergencyPackage(const PackageInformation &information);

} // namespace Core::KELP
