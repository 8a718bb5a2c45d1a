#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/qml/qml-findings.h"

#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace Validator {

/// Holds the imports at the top of a package's QML files against the profile's lists.
///
/// The imports of one file are judged again with every file after it, so that an import that is an error
/// fails all of them. Only relative paths to which there is any objection are kept for that, and one import
/// that fails; so a thousand files take a thousand times as long as one. A file with
/// several names is read under the first one alone, unless it has thousands of objectionable imports.
class QmlImports final : public ValidatorBase<IValidator> {
public:
    QmlImports(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// What is no file has no imports. Raises as MappedFile::open() does.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for every path that ends in ".qml".
    bool canValidate(const std::string &path, const std::string &realPath) override;

    /// Warns of an import of Vitrine in an application of another type.
    void finish() override;

private:
    /// What there is to object to an import, whichever file states it.
    struct Objections {
        bool isAbsolute = false;       ///< It is the quoted path of a place in the system.
        std::optional<QmlRule> listed; ///< What the profile's lists have against it.

        bool any() const { return isAbsolute || listed; }
        bool fail() const { return isAbsolute || listed == QmlRule::ReservedImport; }
    };

    using Imports = std::unordered_map<std::string, Objections>;

    void extractImports();
    Imports scan();
    void take(std::string import, Imports &found);
    Objections objectionsTo(const std::string &import);
    std::optional<QmlRule> listed(const std::string &import) const;
    void judge(const std::string &import, const Objections &objections);
    void report(const std::string &import, const Objections &objections) const;
    void dropShipped();
    bool isShipped(const std::string &import) const;

    Imports imports_; ///< The relative paths in this file and in those before.
    std::optional<std::pair<std::string, Objections>>
        failing_;    ///< One that fails this file and all after it.
    Imports judged_; ///< Spares matching an import again.
    std::map<Common::FileIdentity, Imports>
        byFile_;                 ///< What there is to object to in the files that were read.
    std::size_t remembered_ = 0; ///< Imports in byFile_.
};

} // namespace Validator
