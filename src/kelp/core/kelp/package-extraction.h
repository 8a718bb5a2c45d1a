#pragma once

#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/staging-directory.h"
#include "kelp/core/kelp/validator/configuration/profile.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Common {
class Error;
}

namespace Validator {
class ContentValidator;
}

namespace Core::KELP {

/// Unpacks one package file under the validator's verdict. For one run.
///
/// The header is judged before anything is unpacked; then each file as soon as it lies in the staging
/// directory; then the whole.
class PackageExtraction {
public:
    using Entry = Common::Rpm::ExtractFileIterator::Entry;

    /// What a verdict of failure does.
    enum class Failure {
        Ends,      ///< The run ends at once.
        IsReported ///< The run goes on for all findings, and raises at the end what would have ended it.
    };

    /// What is done beside the unpacking of regular files; empty functions do nothing.
    struct FileSteps {
        std::function<void()> before;
        std::function<void(const Entry &, const FileDescriptor &)> after; ///< For a file that was passed.
    };

    /// `versionDirectory` is where links shall lead.
    PackageExtraction(const std::filesystem::path &destination, std::filesystem::path versionDirectory,
                      std::vector<Mapping> mappings, Failure failure);

    /// Raises ErrorCode::BadPackageContent with "package meta validation failed" for the header and "package
    /// content validation failed" for the files, also for those that cannot be where the package wants them;
    /// and what StagingDirectory, ExtractFileIterator and the checkers raise. What was unpacked by then
    /// stays.
    void run(const std::filesystem::path &package, Validator::Profile profile, const FileSteps &steps);

    /// Gives the directories their permissions.
    void applyPermissions() const { staging_.applyPermissions(); }

    // The steps for one entry of the package.

    void extractDirectory(const Entry &entry, Validator::ContentValidator &validator);
    void extractFile(const Entry &entry, Validator::ContentValidator &validator, const FileSteps &steps);
    void extractSymlink(const Entry &entry) const;
    void extractHardlink(const Entry &entry) const;

private:
    void judge(const std::filesystem::path &package, Validator::Profile profile, const FileSteps &steps);
    void walk(const Common::Rpm::ExtractFileIterator &content, Validator::ContentValidator &validator,
              const FileSteps &steps);
    void extractEntry(const Entry &entry, Validator::ContentValidator &validator, const FileSteps &steps);
    bool hasFailed(bool verdict, const char *text);
    std::filesystem::path packagePath(const std::filesystem::path &path) const;

    StagingDirectory staging_;
    std::filesystem::path versionDirectory_;
    std::vector<Mapping> mappings_;
    Failure failure_;
    const char *firstFailure_ = nullptr;
};

} // namespace Core::KELP
