#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct rpmfiles_s;

namespace Common::Rpm {

/// The files in a package's header, by their place in its list, the `fileIndex` of a walk. Used mostly for
/// rpm's records of installed packages. Does not look at the disk. The object keeps the record's list alive.
class InstalledFiles {
public:
    /// Raises as Reader::fileList() does.
    explicit InstalledFiles(const Reader &reader);

    int count() const;
    std::string path(int index) const;
    std::uint64_t size(int index) const;
    bool isDirectory(int index) const;
    bool isConfiguration(int index) const;

    /// Whether the package has the file under further names.
    bool hasSeveralNames(int index) const;

    /// Whether the package names the file but does not bring it.
    bool isGhost(int index) const;

    /// Seconds since the epoch.
    std::uint32_t modified(int index) const;

    /// In lower-case hexadecimal digits; nothing when the header has no digest, or another kind.
    std::optional<std::string> sha256(int index) const;

    /// Whether rpm's record has the file as installed: rpm takes such files away with the package. It leaves
    /// those that it never installed (excluded documentation, languages, colours) or another package
    /// replaced.
    bool isInstalled(int index) const;

    // The list as rpm keeps it, for walks over many packages and few directories. It has each directory once,
    // with its trailing "/", and for each file its directory and name.

    int directoryCount() const;
    std::string_view directory(int directoryIndex) const;
    int directoryOf(int index) const;
    std::string_view name(int index) const;

private:
    std::shared_ptr<rpmfiles_s> files_;
};

} // namespace Common::Rpm
