#include "kelp/core/kelp/installing/installation.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/platform-facts.h"
#include "kelp/core/common/rpm/database.h"
#include "kelp/core/common/rpm/version.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/rpm-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/installing/package-file.h"
#include "kelp/core/kelp/mending/contents-examination.h"
#include "kelp/core/kelp/mending/examination.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/mending/publication-obstacle.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/store/fs-database.h"
#include "kelp/core/kelp/take-over/own-directory.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include <algorithm>
#include <set>
#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using PackageSignatures::Certificate;
using PackageSignatures::Group;

void beginInstallation(const UnfinishedInstallation &begun) {
    const char *event = begun.event == RegistryEvent::Update ? "U" : "I";
    Common::replaceDurably(installationFile(), begun.id + "\n" + begun.version + "\n" + event + "\n");
    Common::flushFile(installationFile().parent_path());
}

/// If a power cut brings the note back, the same records are written once more, or its version is not
/// current.
void forgetInstallation() {
    std::error_code error;
    fs::remove(installationFile(), error);
    // The next examination does it.
    if (error)
        Common::LogStream(Common::LogLevel::Warning)
            << "Couldn't remove " << installationFile() << ": " << error.message();
}

/// What cannot be read of the machine says nothing about the package, which would be thrown away for it.
template<class Read>
auto ofMachine(const Read &read) {
    try {
        return read();
    } catch (const Error &error) {
        throw Error(ErrorCode::Filesystem, error.what()).causedBy(error);
    }
}

/// The installation of one package file.
class Installation {
public:
    Installation(const IConfiguration &configuration, const fs::path &file, std::string id,
                 InstallationOptions options) :
        configuration_(configuration),
        resolver_(configuration),
        // Read once more: the id leads to the certificate, and the certificate to the mappings.
        id_(std::move(id)),
        certificate_(requiredDeveloper(id_)),
        package_(RpmPackage::fromFile(file, {PackageSignatures::Cms(Group::Developer, certificate_)})),
        options_(options) {}

    Installed run() {
        check();
        const OwnDirectory directory = OwnDirectory::installing(configuration_);
        directory.require();
        const ScratchTree staging(directory.path() / stagingName());
        // Others must not reach the files until they are judged: a package may let all users write to one,
        // and who cuts it while the validator has it mapped kills this process. After a kill the next
        // installation or doctor --repair removes the tree with any mode: it is not in the store yet.
        Common::createPrivateDirectory(staging.path());
        if (options_.isDryRun) {
            judge(staging.path());
            requirePublishable(staging.path());
            // The last objection: without it the file would be let in.
            requireReadable();
        } else {
            requireReadable();
            const PackageStaging unpacked =
                package_.extract(staging.path(), fs::absolute(versionDirectory()));
            requirePublishable(staging.path());
            // Made durable with the tree, before the tree is moved into the store.
            constexpr fs::perms versionMode{0755};
            Common::setPermissions(staging.path(), versionMode);
            bringIn(unpacked);
        }
        return {id_, package_.version(), installed_.value("general.version"),
                options_.isDryRun || isComplete()};
    }

private:
    bool isComplete() const {
        const auto stored = StoreView(configuration_).package(id_);
        return stored && stored->failure.empty() && !stored->hasPlan && !unfinishedInstallation();
    }

    /// A dry run holds no lock, and must not touch what an installation of the package unpacks meanwhile.
    std::string stagingName() const { return options_.isDryRun ? dryRunName(id_) : id_; }

    void judge(const fs::path &staging) const {
        const ValidationSetup judge{
            std::make_shared<Validator::Config>(Validator::profileFromCertificate(certificate_))};
        const std::string refusal = package_.validate(staging, {judge}, {.comparesFiles = true}).front();
        if (!refusal.empty())
            throw Error(ErrorCode::BadPackageContent, refusal);
    }

    /// Checked before any change: the store would find out only after the old version is unpublished.
    void requirePublishable(const fs::path &tree) const {
        PackageInformation information = extras();
        information["general.id"] = id_;
        if (package_.orgName() && package_.appName()) {
            information["general.orgname"] = *package_.orgName();
            information["general.appname"] = *package_.appName();
        }
        refuseForeign(publicationObstacle(configuration_, tree, information));
    }

    fs::path versionDirectory() const { return resolver_.versionDirectory(id_, package_.version()); }

    /// A prepared version that no repair has made current, or, in a dry run, none would. Without a current
    /// version it may be all that is left of the application, so it stays. The store would fail at the link
    /// only after it has moved the new version in.
    std::string obstacleInNext() const {
        const StoreEntry entry(resolver_, id_);
        const StoreEntry::Slot next = entry.slot(PackageSlot::Next);
        const bool isInTheWay =
            next.counts() && !entry.slot(PackageSlot::Current).counts() &&
            (!options_.isDryRun || entry.descriptor(next.version).state != StoreEntry::DescriptorState::Own);
        return isInTheWay ? entry.link(PackageSlot::Next).string() +
                                " leads to a prepared version; see kelpctl explain unfinished-update"
                          : std::string();
    }

    void refuseForeign(const std::string &obstacle) const {
        if (!obstacle.empty())
            refusePackage(id_, ErrorCode::FileConflict, ": " + obstacle);
    }

    void check() {
        if (package_.id() != id_)
            throw Error(ErrorCode::BadPackageFileFormat, "The package file has changed meanwhile");
        if (package_.architecture() != "noarch" && package_.architecture() != Common::platformArchitecture())
            refusePackage(id_, ErrorCode::BadPackageArchitecture);
        const auto inRpm = ofMachine([&] { return rpmRecords(configuration_, id_); });
        const auto onTheirWay = ofMachine([&] { return idsOnTheirWay(configuration_); });
        // Both would have their files at the same places, and rpm's next erasure would remove them.
        if (std::ranges::find(inRpm, id_, &RpmRecord::id) != inRpm.end() || onTheirWay.contains(id_))
            throw Error(ErrorCode::Internal, id_ + ": The package is still in rpm, from where kelp-launcher "
                                                   "takes it over");
        refuseForeign(StoreEntry(resolver_, id_).objectionTo(package_.version()));
        refuseForeign(obstacleInNext());
        // The old version could not go.
        StoreView(configuration_).requireNoMountIn(id_);
        if (const auto found = StoreView(configuration_).package(id_)) {
            if (!found->failure.empty())
                throw Error(ErrorCode::Filesystem, found->failure);
            installed_ = *found;
            if (installed_.information)
                checkAgainstInstalled();
        }
        // Read in any case: an unreadable database cannot be written either, and that would show only after
        // the package is in.
        const SourcesView sources = ofMachine([&] { return SourcesView::read(configuration_); });
        if (!certifiedSource(id_) && !sources.missingSourceAllowed)
            refusePackage(id_, ErrorCode::PackagesWithoutSourceNotAllowed,
                          "; \"kelpctl policy missing-source allow\" would let it in");
    }

    /// A version cannot be compared with one whose descriptor is unreadable, nor take its place.
    void requireReadable() const {
        if (!installed_.information && StoreEntry(resolver_, id_).slot(PackageSlot::Current).counts())
            throw Error(ErrorCode::Internal, "Package " + id_ +
                                                 " already installed, and its descriptor cannot be read: see "
                                                 "kelpctl explain unreadable-descriptor");
    }

    void checkAgainstInstalled() const {
        const auto given = Common::Rpm::Version::parse(package_.version());
        const auto installed = Common::Rpm::Version::parse(installed_.value("general.version"));
        if (!given || !installed)
            refusePackage(id_, ErrorCode::BadPackageVersion);
        const int order = given->compare(*installed);
        if (order == 0)
            refusePackage(id_, ErrorCode::SamePackageIsInstalled);
        if (order < 0 && !options_.isDowngradeAllowed)
            refusePackage(id_, ErrorCode::DowngradeAttempt);
        checkKey();
    }

    void checkKey() const {
        if (certificate_.keyId() == installed_.value("certificate.id"))
            return;
        const std::vector<std::string> earlier = previousKeyIds(*installed_.information);
        // Two messages for people: one is the developer's own old key, the other another developer.
        const bool isEarlier = std::ranges::find(earlier, certificate_.keyId()) != earlier.end();
        refusePackage(id_, isEarlier ? ErrorCode::DeveloperKeySuperseded : ErrorCode::DeveloperMismatch);
    }

    /// The descriptor's values beside those of the package, with the earlier keys of the installed one.
    PackageInformation extras() const {
        PackageInformation extras = installed_.information.value_or(PackageInformation());
        std::erase_if(extras, [](const auto &entry) { return !entry.first.starts_with("prev_key_ids."); });
        extras["certificate.id"] = certificate_.keyId();
        extras["certificate.subgroup"] = PackageSignatures::subgroupToString(certificate_.subgroup());
        return extras;
    }

    void bringIn(const PackageStaging &staging) const {
        // Before a link names it: a power cut must not leave a torn version current.
        Common::flushFilesystem(staging.path);
        const auto event = installed_.information ? RegistryEvent::Update : RegistryEvent::Install;
        // After a kill from here on, if the version is in the store, an examination completes the records.
        beginInstallation({id_, package_.version(), event});
        commit(staging);
        makeResource();
        PackageInformation information = extras();
        information["general.id"] = id_;
        // The package is in: an examination finds and mends missing lines of the registry.
        if (recordInstallation(configuration_, event, information))
            forgetInstallation();
    }

    /// As the migration of the integrity files did for the old version. After a failure or a kill here, an
    /// examination finds and mends it.
    void makeResource() const {
        const auto stored = StoreView(configuration_).package(id_);
        if (!stored || !stored->information)
            return;
        const fs::path resource = resolver_.integrityResourceFile(id_, package_.version());
        for (const Finding &finding : examineContents(configuration_, *stored))
            if (finding.path == resource && finding.mend)
                finding.mend();
    }

    void commit(const PackageStaging &staging) const {
        FSDatabase store(configuration_, resolver_);
        try {
            if (installed_.information) {
                store.prepareUpdate(staging, extras());
                store.completeUpdate(id_);
            } else {
                store.install(staging, extras());
            }
        } catch (...) {
            forgetInstallation();
            throw;
        }
    }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    std::string id_;
    Certificate certificate_;
    RpmPackage package_;
    InstallationOptions options_;
    StoredPackage installed_;
};

} // namespace

Installed installPackage(const IConfiguration &configuration, const fs::path &file,
                         const InstallationOptions &options) {
    // librpm looks for keys in the rpm database, and would make a missing one. That would pass for the
    // database of a machine with nothing installed.
    Common::Rpm::requireDatabase();
    requireWholePayload(file);
    const std::string id = RpmPackage::idOf(file);
    if (!options.isDryRun) {
        // While an unfinished `next` exists, no other version can be prepared.
        std::set<std::string> mended = {id};
        if (const auto begun = unfinishedInstallation())
            mended.insert(begun->id);
        ofMachine([&] {
            mend(configuration, mended);
            // Whoever completes it later would remove the new version.
            if (unfinishedRemoval() == id)
                throw Error(ErrorCode::Filesystem,
                            id + ": Its removal was begun, and could not be completed; see kelpctl doctor");
            // Dangling links would lead to the new version.
            takeBackLeftBehind(id);
        });
    }
    return Installation(configuration, file, id, options).run();
}

} // namespace Core::KELP
