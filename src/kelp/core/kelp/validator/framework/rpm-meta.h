#pragma once

#include "kelp/core/kelp/validator/framework/rpm-facts.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The facts of one package with look-ups over its file list that are built once. Immutable; copies share
/// everything.
class RpmMeta {
public:
    /// Reads the header of a package file. Raises as Common::Rpm::Reader does, and
    /// ErrorCode::BadPackageFileFormat "Couldn't read rpm package" when the file list contradicts itself.
    explicit RpmMeta(const std::filesystem::path &package);
    /// The same of a package that is open already.
    explicit RpmMeta(const Common::Rpm::Reader &package);
    explicit RpmMeta(RpmFacts facts);

    const std::string &name() const;
    const std::string &version() const;
    const std::string &release() const;
    const std::string &vendor() const;
    const std::string &architecture() const;
    bool hasScripts() const;
    bool hasOtherScripts() const;
    const std::vector<std::string> &requirements() const;
    const std::vector<std::string> &uncheckedRequirements() const;
    const std::vector<std::string> &provides() const;
    const std::vector<std::string> &obsoletes() const;
    const std::vector<std::string> &conflicts() const;
    const std::vector<std::string> &fileNames() const; ///< Every path of the file list, directories too.
    const std::vector<FileInfo> &files() const;

    /// Whether the file list holds exactly this path. Takes the same time whatever the size of the list.
    bool holds(std::string_view path) const;
    /// Whether a path of the file list begins with this text. Takes logarithmic time.
    bool holdsBelow(std::string_view beginning) const;
    /// How many directories lie above the paths of the file list and are not in it. Takes time by the length
    /// of all paths together.
    std::size_t impliedDirectories() const;

private:
    struct Record;
    std::shared_ptr<const Record> record_;
};

} // namespace Validator
