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

/// Checks the imports at the top of a package's QML files against the profile's lists.
///
/// A forbidden import makes its file fail, and every file that is judged after it. For that, the first one is
/// kept. A forbidden relative path makes files fail only until one is judged from which the path leads to a
/// file of the package. So all forbidden relative paths are kept, each until then. The time grows linearly
/// with the number of files. A hard-linked file is read once, under its first name.
class QmlImports final : public ValidatorBase<IValidator> {
public:
    QmlImports(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Anything but a file has no imports. Raises as statusOf() and MappedFile::open() do.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for every path that ends in ".qml".
    bool canValidate(const std::string &path, const std::string &realPath) override;

    /// Warns of an import of Vitrine in an application of another type.
    void finish() override;

private:
    /// The objections to an import, in any file.
    struct Objections {
        bool isAbsolute = false;       ///< It is the quoted path of a place in the system.
        std::optional<QmlRule> listed; ///< The finding by the profile's lists.

        bool any() const { return isAbsolute || listed; }
        bool fail() const { return isAbsolute || listed == QmlRule::ReservedImport; }
    };

    using Imports = std::unordered_map<std::string, Objections>;

    void extractImports();
    Imports scan();
    void take(const std::string &import, Imports &found);
    Objections objectionsTo(const std::string &import);
    std::optional<QmlRule> listed(const std::string &import) const;
    void judge(const std::string &import, const Objections &objections);
    void report(const std::string &import, const Objections &objections) const;
    void dropShipped();
    bool isShipped(const std::string &import) const;

    Imports imports_; ///< The relative paths in this file and in those before.
    std::optional<std::pair<std::string, Objections>>
        failing_;                                    ///< An import that fails this file and all later ones.
    Imports judged_;                                 ///< Spares matching an import again.
    std::map<Common::FileIdentity, Imports> byFile_; ///< The objections in the files that were read.
    std::size_t remembered_ = 0;                     ///< Imports in byFile_.
};

} // namespace Validator
