// The part of RpmPackage that reads package files.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/incoming/package-extraction.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/staged-contents.h"
#include "kelp/core/kelp/incoming/staging-directory.h"
#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/package-information.h"

#include "platform/app-manifest/manifest-entry.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using AppManifest::ManifestEntry;
using Common::Error;
using Common::ErrorCode;
using Common::Rpm::ExtractFileIterator;
using Common::Rpm::FileIterator;
using PackageSignatures::Cms;

namespace Tag = Common::Rpm::Tag;

/// Stands in for the key of an unknown developer. Without a key there would be no row for the organisation's
/// shared data, and a link there would be judged otherwise than at its installation.
constexpr const char *someKeyId = "0";

/// The store makes a directory of the text.
std::string checked(std::string text) {
    if (!Common::isFileName(text))
        throw Error(ErrorCode::BadPackageContent, "package content validation failed");
    return text;
}

std::vector<RpmPackage::FileEntry> filesOf(const Common::Rpm::Reader &reader) {
    std::vector<RpmPackage::FileEntry> files;
    files.reserve(static_cast<std::size_t>(Common::Rpm::InstalledFiles(reader).count()));
    Common::Rpm::FileIterator(reader).forEach([&](const RpmPackage::FileEntry &entry) {
        files.push_back(entry);
        return false;
    });
    return files;
}

std::optional<ManifestEntry> parse(const Common::Rpm::PackedFile &content, const fs::path &name) {
    // No more than the claimed size is read: this keeps a packed file of zeros out of memory.
    if (content.size() > maximumDesktopFileSize)
        return std::nullopt;
    const std::vector<std::uint8_t> bytes = content.readAll();
    return parseDesktopText({bytes.begin(), bytes.end()}, name);
}

/// The targets of a package's links, by the links' paths.
using Links = std::unordered_map<std::string, std::string>;

Links linksOf(const Common::Rpm::Reader &reader) {
    Links links;
    const auto note = [&](const RpmPackage::FileEntry &entry) {
        if (const auto *link = std::get_if<Common::Rpm::Symlink>(&entry.kind))
            links[entry.path] = link->target;
        return false;
    };
    FileIterator(reader).forEach(note, FileIterator::Names::All, FileIterator::Unexpected::Silent);
    return links;
}

/// The place of a file of the system after following the package's links.
std::optional<fs::path> followed(const fs::path &systemPath, const Links &links) {
    const auto place = followSymbolicLinks(systemPath.relative_path(), "/", [&](const fs::path &path) {
        const std::string system = "/" + path.string();
        const auto link = links.find(system);
        // The list may lack directories: any path but a link may be one.
        return std::optional(link == links.end() ? TreeNode{TreeNode::Kind::Directory}
                                                 : TreeNode{TreeNode::Kind::Link, link->second});
    });
    return place ? std::optional("/" / place->path) : std::nullopt;
}

/// Whether there is a regular file of that path, also as a hard link.
bool listsFile(const ExtractFileIterator &package, const fs::path &path) {
    bool isListed = false;
    const auto look = [&](const RpmPackage::FileEntry &entry) {
        return isListed = entry.path == path && std::holds_alternative<Common::Rpm::RegularFile>(entry.kind);
    };
    FileIterator(package).forEach(look, FileIterator::Names::All, FileIterator::Unexpected::Silent);
    return isListed;
}

std::optional<ManifestEntry> desktopFileOf(const ExtractFileIterator &package, const fs::path &path) {
    std::optional<ManifestEntry> manifest;
    package.forEach([&](const ExtractFileIterator::Entry &entry) {
        const auto *content = std::get_if<Common::Rpm::PackedFile>(&entry.kind);
        if (!content || !package.isNameOf(path, entry))
            return false;
        manifest = parse(*content, path);
        return true;
    });
    return manifest;
}

PackageSignatureInfo summaryOf(const std::vector<Cms> &signatures, PackageSignatures::Group group) {
    const auto found = std::ranges::find(signatures, group, &Cms::group);
    if (found == signatures.end())
        return {};
    const PackageSignatures::Certificate &certificate = found->certificate();
    return {certificate.keyId(), PackageSignatures::subgroupToString(certificate.subgroup()), {}};
}

/// By the descriptor: others could have put a link into the path meanwhile.
void setAttribute(const FileDescriptor &file, const fs::path &path, const char *name,
                  std::string_view value) {
    if (!value.empty() && ::fsetxattr(file.get(), name, value.data(), value.size(), 0) != 0)
        throw Error(ErrorCode::Filesystem,
                    "Couldn't attach " + std::string(name) + " extended attribute to " + path.string());
}

std::string textOf(const PackageSignatures::Bytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The digests stand in the header, which is the one that was read first. Others may have written to the
/// payload after its own digest was compared.
void requireDigest(const FileDescriptor &file, const fs::path &path,
                   const std::optional<std::string> &digest) {
    if (digest && (::lseek(file.get(), 0, SEEK_SET) != 0 ||
                   Common::Rpm::sha256Of(file.get(), path.string()) != *digest))
        throw Error(ErrorCode::BadPackageContent, "File does not match its digest: " + path.string());
}

void signFile(const FileDescriptor &file, const fs::path &path, const std::string &id,
              const PackageSignatures::Cms &developer, int fileIndex) {
    setAttribute(file, path, "user.TA.shdr", textOf(developer.trustletSignature(fileIndex)));
    setAttribute(file, path, "security.appid", id);
    setAttribute(file, path, "security.ima", textOf(developer.fileSignature(fileIndex)));
}

} // namespace

std::string RpmPackage::idOf(const fs::path &path) {
    return checked(Common::Rpm::Reader(path).tag(Tag::Name));
}

RpmPackage RpmPackage::fromFile(const fs::path &path, std::vector<Cms> cmsSignatures,
                                Common::Rpm::Signatures signatures) {
    const ExtractFileIterator reader(path, signatures);
    std::string id = checked(reader.tag(Tag::Name));
    std::string version = checked(reader.tag(Tag::Version) + "-" + reader.tag(Tag::Release));

    const auto desktopFile = followed("/usr/share/applications/" + id + ".desktop", linksOf(reader));
    std::optional<ManifestEntry> manifest;
    // Asks the header first: a walk over the payload that finds nothing would unpack all of it.
    if (desktopFile && listsFile(reader, *desktopFile))
        manifest = desktopFileOf(reader, *desktopFile);
    auto orgName = manifest ? Common::asFileName(manifest->appOrgname()) : std::nullopt;
    auto appName = manifest ? Common::asFileName(manifest->appName()) : std::nullopt;

    PackageSignatureInfo developer = summaryOf(cmsSignatures, PackageSignatures::Group::Developer);
    PackageSignatureInfo client = summaryOf(cmsSignatures, PackageSignatures::Group::Client);
    auto mappings = buildMappings(id, developer.keyId.empty() ? someKeyId : developer.keyId, orgName, appName,
                                  Rooted::No);
    // The payload can be walked once only: extraction opens the file again.
    return RpmPackage(
        {std::move(id), std::move(version), reader.tag(Tag::Architecture), std::move(developer),
         std::move(client), std::move(orgName), std::move(appName)},
        std::move(mappings),
        File{path, reader.digest(), signatures, std::move(cmsSignatures), readFiles, extractFile});
}

RpmPackage::RpmPackage(PackageIdentity identity, std::vector<Mapping> mappings, File file) :
    Package(std::move(identity)), mappings_(std::move(mappings)), source_(std::move(file)) {}

/// Makes sure that the judged file is the unpacked one, even if others can exchange it or write to it.
ExtractFileIterator RpmPackage::reopened(const File &file) {
    ExtractFileIterator reader(file.path, file.signatures);
    if (reader.digest() != file.headerDigest)
        throw Error(ErrorCode::BadPackageFileFormat, "The package file has changed meanwhile");
    return reader;
}

std::vector<RpmPackage::FileEntry> RpmPackage::readFiles(const File &file) {
    return filesOf(reopened(file));
}

PackageStaging RpmPackage::extractFile(const RpmPackage &package, const fs::path &destination,
                                       const fs::path &versionDirectory) {
    const ExtractFileIterator content = reopened(package.file());
    package.unpack(destination, versionDirectory, content, Judged::Yes);
    // The caller flushes the tree, and the list with it, before it moves it.
    listStagedContents(destination, package.mappings_, content, [](const auto &...) { return true; });
    return {destination, package.id(), package.version(), package.orgName(), package.appName(), true};
}

void RpmPackage::restage(const fs::path &destination, const fs::path &versionDirectory) const {
    unpack(destination, versionDirectory, reopened(file()), Judged::No);
}

void RpmPackage::unpack(const fs::path &destination, const fs::path &versionDirectory,
                        const ExtractFileIterator &content, Judged judged) const {
    const auto developer = PackageSignatures::developerCmsFromVector(file().cmsSignatures);
    const auto requireSignature = [&] {
        if (!developer)
            throw Error(ErrorCode::MissingDeveloperSignature, "Package doesn't have developer signature");
    };
    const Common::Rpm::InstalledFiles record(content);
    const auto attachAttributes = [&](const PackageExtraction::Entry &entry, const FileDescriptor &file) {
        requireDigest(file, entry.path, record.sha256(entry.fileIndex));
        if (entry.signable)
            signFile(file, destination / packagePathOf(entry.path, mappings_), id(), *developer,
                     entry.fileIndex);
    };
    UnpackPipeline oneByOne;
    std::vector<ValidationSetup> judges;
    if (judged == Judged::Yes)
        // Without a developer the first file ends the run; until then the header needs some judge.
        judges.push_back({std::make_shared<Validator::Config>(
            developer ? Validator::profileFromCertificate(developer->certificate())
                      : Validator::Profile::Regular)});
    PackageExtraction extraction(
        content, {destination, versionDirectory, mappings_, PackageExtraction::Failure::Ends}, judges,
        {.beforeFile = requireSignature, .afterFile = attachAttributes}, oneByOne);
    extraction.run();
    extraction.applyPermissions();
}

std::vector<std::string> RpmPackage::validate(const fs::path &destination,
                                              const std::vector<ValidationSetup> &judges,
                                              const Trial &trial) const {
    const ExtractFileIterator content = reopened(file());
    PackageExtraction::Steps steps = {.beforeVerdict = trial.beforeVerdict, .duringWork = trial.duringWork};
    std::optional<Common::Rpm::InstalledFiles> record;
    if (trial.comparesFiles) {
        record.emplace(content);
        steps.afterFile = [&](const PackageExtraction::Entry &entry, const FileDescriptor &file) {
            requireDigest(file, entry.path, record->sha256(entry.fileIndex));
        };
    }
    UnpackPipeline oneByOne;
    return PackageExtraction(
               content,
               {destination, {}, mappings_, PackageExtraction::Failure::IsReported, trial.mostUnpacked},
               judges, std::move(steps), trial.pipeline ? *trial.pipeline : oneByOne)
        .run();
}

} // namespace Core::KELP
