#pragma once

#include "kelp/core/common/rpm/package-entry.h"
#include "kelp/core/common/rpm/reader.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/package/package.h"

#include "platform/package-signatures/cms.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

namespace Common::Rpm {
class ExtractFileIterator;
}

namespace Core::KELP {

class UnpackPipeline;
struct ValidationSetup;

/// A package of rpm: a package file, or the record of an installed one. Knows where in the package's tree
/// each of its files goes.
class RpmPackage final : public Package {
public:
    using FileEntry =
        Common::Rpm::PackageEntry<Common::Rpm::Directory, Common::Rpm::RegularFile, Common::Rpm::Symlink>;

    /// The record of an installed package. `mappings` are the rows for the way from the system to the
    /// package.
    RpmPackage(PackageIdentity identity, std::vector<Mapping> mappings, std::vector<FileEntry> files);

    /// Reads a package file, of which `cmsSignatures` are the signatures. The names of organisation and
    /// application come from the package's desktop file. A name that cannot be a directory's counts as
    /// absent; so do both if the desktop file is missing or refused (parseDesktopText()).
    ///
    /// Raises as Common::Rpm::ExtractFileIterator, Reader::tag() and parseDesktopText() do. Also raises
    /// ErrorCode::BadPackageContent "package content validation failed" if id or version cannot be a file
    /// name: the store names directories after them.
    static RpmPackage fromFile(const std::filesystem::path &path,
                               std::vector<PackageSignatures::Cms> cmsSignatures,
                               Common::Rpm::Signatures signatures = Common::Rpm::Signatures::OfMachine);

    /// The id of a package file, by its header alone. Raises as fromFile() does for that.
    static std::string idOf(const std::filesystem::path &path);

    /// Unpacks the package under the validator's verdict (PackageExtraction), and writes its list of
    /// contents. Each regular file that is `signable` (PackageEntry) gets its signatures and the package id
    /// as extended attributes. What was unpacked before an error stays.
    ///
    /// Raises as PackageExtraction and listStagedContents() do, and ErrorCode::Filesystem when an attribute
    /// cannot be set. A package without a signature of its developer raises
    /// ErrorCode::MissingDeveloperSignature "Package doesn't have developer signature" at its first regular
    /// file. A file whose content is not that of its digest in the header raises ErrorCode::BadPackageContent
    /// "File does not match its digest: PATH". The record of an installed package, which has no package file,
    /// raises ErrorCode::FileNotFound "Couldn't open rpm package". Raises ErrorCode::BadPackageFileFormat
    /// "The package file has changed meanwhile" if the file's header is not the one that fromFile() read.
    PackageStaging extract(const std::filesystem::path &destination,
                           const std::filesystem::path &versionDirectory) const override;

    /// Unpacks as extract() does, but without the validator and without a list of contents: for a package
    /// that was let in already. Raises as extract() does, but no checker refuses anything.
    void restage(const std::filesystem::path &destination,
                 const std::filesystem::path &versionDirectory) const;

    /// How to judge a package file that is not to be installed.
    struct Trial {
        std::function<void()> beforeVerdict =
            {}; ///< Called for each entry of the package; its exceptions pass.
        std::shared_ptr<UnpackPipeline> pipeline = {};  ///< Null: entry by entry.
        std::optional<std::uint64_t> mostUnpacked = {}; ///< As PackageExtraction takes it.
        std::function<void()> duringWork = {};          ///< As in PackageExtraction::Steps.
        bool comparesFiles = false; ///< Whether accepted files must match their digests, as in extract().
    };

    /// Unpacks the package once, and has each judge report all findings by its own rules. If all judges
    /// refuse the header of a package with too many directories, does not unpack it. Ignores signatures.
    /// Returns for each judge the text with which extract() would refuse the package, or an empty text.
    /// Raises what prevents a verdict, such as a failure of the system or a package file that has changed.
    /// With Trial::comparesFiles, a file that does not match its digest raises as in extract(). The unpacked
    /// tree stays.
    std::vector<std::string> validate(const std::filesystem::path &destination,
                                      const std::vector<ValidationSetup> &judges, const Trial &trial) const;

    /// Those of a package file are read at the first call: an installation does not need them. That call
    /// raises as extract() does for a file that has changed.
    const std::vector<FileEntry> &files() const;
    const std::vector<Mapping> &mappings() const { return mappings_; }

    // The steps for one entry of files(). `destination` is the staging directory. Both raise
    // ErrorCode::Filesystem, extractLink() also as resolveLink() does, and leave what they have made by then.

    /// Makes the entry's directory, with its parents, and sets its permissions; not those of `destination`.
    void extractDirectory(const std::filesystem::path &destination, const FileEntry &entry) const;

    /// Makes the entry's symbolic link, with its parents; the link leads to where its target will lie when
    /// the staging directory has become `versionDirectory`.
    void extractLink(const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
                     const FileEntry &entry) const;

    /// Where in the package's tree the entry goes: a relative path.
    std::filesystem::path packagePath(const FileEntry &entry) const;

private:
    using Record = std::vector<FileEntry>;

    /// A package file. Its two functions need the validator, and are reached by reference: a program that
    /// knows only records does not link them.
    struct File {
        std::string path;
        std::string headerDigest;
        Common::Rpm::Signatures signatures;
        std::vector<PackageSignatures::Cms> cmsSignatures;
        std::vector<FileEntry> (&read)(const File &);
        PackageStaging (&extract)(const RpmPackage &, const std::filesystem::path &destination,
                                  const std::filesystem::path &versionDirectory);
        mutable std::optional<std::vector<FileEntry>> files = {};
    };

    enum class Judged { No, Yes };

    RpmPackage(PackageIdentity identity, std::vector<Mapping> mappings, File file);
    const File &file() const;
    static Common::Rpm::ExtractFileIterator reopened(const File &file);
    static std::vector<FileEntry> readFiles(const File &file);
    static PackageStaging extractFile(const RpmPackage &package, const std::filesystem::path &destination,
                                      const std::filesystem::path &versionDirectory);
    void unpack(const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
                const Common::Rpm::ExtractFileIterator &content, Judged judged) const;

    std::vector<Mapping> mappings_;
    std::variant<Record, File> source_;
};

} // namespace Core::KELP
