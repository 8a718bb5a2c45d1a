#pragma once

#include <string>
#include <vector>

namespace Core::TrustedSources {

/// The key id of the reserved source, for all packages without a source.
inline constexpr const char *reservedSource = ".no.source.apps";

/// A source of packages that the device trusts.
struct Source {
    std::string keyId;
    std::string subject;               ///< Of the source's certificate.
    std::vector<std::string> packages; ///< The ids of the packages that came from it.

    /// The reserved source, without its packages.
    static Source reserved() { return {reservedSource, "", {}}; }
};

/// The sources that the device trusts, the source of each package, and two switches of policy. An operation
/// that fails has changed nothing. It logs the reason, and raises Common::Error with ErrorCode::Internal of
/// Core::TrustedSources::ErrorCategory and a text that names the operation.
class IDatabase {
public:
    virtual ~IDatabase() = default;

    /// Whether packages without a source may be installed.
    virtual bool missingSourceAllowed() = 0;
    /// Whether the source of web applications is allowed.
    virtual bool webPwaSourceAllowed() = 0;
    virtual void setMissingSourceAllowed(bool allowed) = 0;
    virtual void setWebPwaSourceAllowed(bool allowed) = 0;

    /// Stores key id and subject. An existing key id keeps its subject.
    virtual void addSource(const Source &source) = 0;
    /// Removes the source and its packages' bindings.
    virtual void removeSource(const std::string &keyId) = 0;
    virtual bool sourceExists(const std::string &keyId) = 0;
    /// Fails for an unknown source.
    virtual Source source(const std::string &keyId) = 0;
    /// Fails for a package that is bound to no source.
    virtual Source sourceOfPackage(const std::string &packageId) = 0;

    /// Binds a package to a source. Fails for a package that is bound already, and for an unknown source.
    virtual void addPackage(const std::string &packageId, const std::string &keyId) = 0;
    virtual void removePackage(const std::string &packageId) = 0;
    virtual bool packageExists(const std::string &packageId) = 0;

    /// All sources by descending subject, each with its packages.
    virtual std::vector<Source> sources() = 0;
};

} // namespace Core::TrustedSources
