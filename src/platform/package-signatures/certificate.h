#pragma once

#include "platform/package-signatures/subgroup.h"

#include <string>
#include <utility>

namespace PackageSignatures {

/// What a package's certificate says.
class Certificate {
public:
    Certificate(std::string keyId, std::string subject, Subgroup subgroup, bool isSystemDeveloper) :
        keyId_(std::move(keyId)),
        subject_(std::move(subject)),
        subgroup_(subgroup),
        isSystemDeveloper_(isSystemDeveloper) {}

    const std::string &keyId() const {
        return keyId_;
    } ///< The subject key identifier, in hexadecimal digits.
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
