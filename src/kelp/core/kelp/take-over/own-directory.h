#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// A path made absolute and normal by its text alone, without a "/" at its end.
std::filesystem::path plainPath(const std::filesystem::path &path);

/// A directory that the package manager keeps for itself, for trees of packages. The machine is not ours: at
/// its path may stand a foreign file, or a link, for example to a user's pictures.
///
/// The directory is ours if it is a real directory at its default place below opt/kelp (`opt` and `opt/kelp`
/// may be links), or holds the mark of an earlier run. A missing one becomes ours, and so does an empty real
/// directory in which nobody else can write.
class OwnDirectory {
public:
    /// The mark of a directory that the package manager made, or that was empty when it took it.
    static constexpr const char *markName = ".kelp-staging";

    /// For trees on their way into the store; for unpacked packages of `kelpctl install`; for rescued trees.
    /// The latter two lie beside the first, wherever that is configured to be.
    static OwnDirectory temporary(const IConfiguration &configuration);
    static OwnDirectory installing(const IConfiguration &configuration);
    static OwnDirectory rescued(const IConfiguration &configuration);

    const std::filesystem::path &path() const { return path_; }

    /// Whether it is ours, or would become so. Raises ErrorCode::Filesystem "Couldn't look for PATH".
    bool isOwn() const;

    /// Raises ErrorCode::Filesystem "The ... directory is not the package manager's own: PATH" unless it is
    /// ours. Makes it, and marks one that is new or empty, durably.
    void require() const;

private:
    OwnDirectory(std::filesystem::path path, std::string purpose, const char *defaultName);

    bool isMarked() const;
    bool isAtDefaultPlace() const;

    std::filesystem::path path_;
    std::string purpose_;
    std::filesystem::path defaultPlace_;
};

/// The name for the tree of a dry run of this process, in the directory for unpacked packages. A dry run
/// holds no lock.
std::string dryRunName(const std::string &id);

/// The id in the name of an unpacked tree, also in that of a dry run's.
std::string idOfUnpacked(const std::string &name);

/// Whether that is the name of a dry run whose process lives, or whose process number is in use again.
bool isOfRunningDryRun(const std::string &name);

} // namespace Core::KELP
