#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Common::Rpm {
class Reader;
}

namespace Validator {

/// One entry of a package's file list, as the package gives it.
struct FileInfo {
    std::uint16_t mode = 0; ///< With the type bits (inode(7)).
    std::string path;
    std::string linkTarget; ///< Empty unless the entry is a link.
    std::string user;
    std::string group;
    std::string capabilities = {}; ///< As cap_to_text(3) writes them.
};

/// The facts of a package's header that the validator needs. A missing text is empty.
struct RpmFacts {
    std::string name;
    std::string version;
    std::string release;
    std::string vendor;
    std::string architecture;
    bool hasScripts = false;      ///< Whether there is any scriptlet, or a program for one.
    bool hasOtherScripts = false; ///< The same for triggers, verify scripts and scripts of newer rpms.
    std::vector<std::string> provides;
    std::vector<std::string> obsoletes;
    std::vector<std::string> conflicts;
    std::vector<std::string>
        requirements; ///< Without rpm's own, file and loader dependencies, and without "()(64bit)".
    std::vector<std::string> uncheckedRequirements; ///< Those that the list above leaves out, unchanged.
    std::vector<FileInfo> files;
};

/// Reads the facts out of a package's header. Raises ErrorCode::BadPackageFileFormat "Couldn't read rpm
/// package" when the file list contradicts itself.
RpmFacts readRpmFacts(const Common::Rpm::Reader &package);

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

    /// Whether the file list holds exactly this path. Takes constant time.
    bool holds(std::string_view path) const;
    /// Whether a path of the file list begins with this text. Takes logarithmic time.
    bool holdsBelow(std::string_view beginning) const;
    /// The number of directories above the paths of the file list that are not in it. Takes time by the
    /// length of all paths together.
    std::size_t impliedDirectories() const;

private:
    struct Record;
    std::shared_ptr<const Record> record_;
};

} // namespace Validator
