#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace PackageSignatures {

/// Who signed a package.
enum class Group : std::int32_t {
    Developer = 1,
    Client = 3, ///< The source that sold it.
};

/// The rights of a developer certificate.
enum class Subgroup : std::int32_t {
    Regular = 1,
    Antivirus = 2,
    Extended = 3,
    Mdm = 4,
    Auth = 5,
    Market = 6,
    SystemApp = 7,
};

/// The name in lower case, "systemapp" for example; "unknown" for any other value.
std::string subgroupToString(Subgroup subgroup);

/// The certificate of a package.
class Certificate {
public:
    Certificate(std::string keyId, std::string subject, Subgroup subgroup, bool isSystemDeveloper) :
        keyId_(std::move(keyId)),
        subject_(std::move(subject)),
        subgroup_(subgroup),
        isSystemDeveloper_(isSystemDeveloper) {}

    /// The subject key identifier, in hexadecimal digits.
    const std::string &keyId() const { return keyId_; }
    const std::string &subject() const { return subject_; }
    Subgroup subgroup() const { return subgroup_; }
    bool isSystemDeveloperCertificate() const { return isSystemDeveloper_; }

private:
    std::string keyId_;
    std::string subject_;
    Subgroup subgroup_;
    bool isSystemDeveloper_;
};

} // namespace PackageSignatures
