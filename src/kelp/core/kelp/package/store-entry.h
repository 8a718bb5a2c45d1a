#pragma once

#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/package-information.h"

#include <sys/types.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Core::KELP {

/// Tells whose a name in the store's directory is, and whose the names in a package's directory are. Decides
/// by the disk alone: reads no records, and changes nothing.
///
///     DATABASE/ID            a package can only be a real directory. The machine's owner may have moved a
///                            package and put a link in its place: the store reads it through the link, and
///                            neither updates nor removes it.
///     ID/{current,next,prev} count only when they lead to a real directory directly below the package's own,
///                            by device and inode: /opt or ID may be a link, and a copy of a package's
///                            directory has links into the original.
///     ID/VERSION             is the package's own when it is a real directory that one of these links names,
///                            that holds a descriptor of just this id and version, or that the caller names
///                            as under way. Anything else is foreign. It is never removed, unless it is an
///                            empty directory where a new version goes. It is moved only when a take-over is
///                            rolled back, to the rescued trees.
///
/// Each operation looks at the disk anew. A failed look does not count as absence: it raises
/// ErrorCode::Filesystem "Couldn't look at PATH". Only descriptor() returns `Unreadable` instead. A version
/// with such a descriptor is foreign unless a link or the caller names it.
class StoreEntry {
public:
    enum class Kind { Absent, Directory, Link, Other };

    /// The entry at the place of one of the three links.
    enum class Lead {
        Absent,
        Version,   ///< A link to a version of this package: the only one that counts.
        Nowhere,   ///< A dangling link. It counts as absent, and may be replaced.
        Elsewhere, ///< A link to anything else. It may be another package's version.
        NoLink,    ///< A foreign file or directory.
    };

    struct Slot {
        Lead lead = Lead::Absent;
        std::string version; ///< Of Version, the directory's name; of Nowhere, the last name of the text.

        bool counts() const { return lead == Lead::Version; }
        bool isOurs() const { return counts() || lead == Lead::Nowhere; }
        bool isForeign() const { return lead == Lead::Elsewhere || lead == Lead::NoLink; }
    };

    enum class DescriptorState {
        Absent,
        Malformed,
        Unreadable, ///< The read failed: nothing is known.
        Another,    ///< It names another package, or another version than its directory.
        Own,
    };

    struct Descriptor {
        DescriptorState state = DescriptorState::Absent;
        PackageInformation information; ///< Of Own and Another.
        std::string failure;            ///< Of Unreadable, if the machine is at fault.
    };

    /// The entries of a package's directory beside the three links and the reserved names, in byte order.
    struct Content {
        std::vector<std::string> own;
        std::vector<std::string> foreign;
    };

    /// `resolver` must outlive the object. A text that cannot name a directory entry is Absent.
    StoreEntry(const IDatabasePathResolver &resolver, std::string id) :
        resolver_(&resolver), id_(std::move(id)) {}

    Kind kind() const;
    Slot slot(PackageSlot slot) const;
    std::filesystem::path link(PackageSlot slot) const;

    /// The descriptor in the directory of a version. Does not raise.
    Descriptor descriptor(const std::string &version) const;

    /// `underWay` are versions that a note or journal names.
    Content content(const std::set<std::string> &underWay = {}) const;

    /// Whether a version has a descriptor that names this package, so that it needs no record. Raises if the
    /// machine failed to read one that may.
    bool isNamedByDescriptor() const;

    /// Whether `next` or `prev` leads to a version with a readable descriptor of another package or version.
    /// The removal of the package would remove it too.
    bool hasAnothers() const;

    /// Why nothing can come in, be made current or go here: the entry or one of its links is foreign, or
    /// hasAnothers(). Empty without an objection.
    std::string objection() const;

    /// The same, or an objection to a foreign entry in place of the version.
    std::string objectionTo(const std::string &version, const std::set<std::string> &underWay = {}) const;

private:
    std::filesystem::path directory() const { return resolver_->packageDirectory(id_); }
    Slot leadTo(const std::pair<dev_t, ino_t> &target, const std::string &name) const;
    std::vector<std::string> names() const;
    bool isOwn(const std::string &name) const;
    bool leadsToAnothers(PackageSlot which) const;

    const IDatabasePathResolver *resolver_;
    std::string id_;
};

/// Whether a descriptor's values name this version of this package.
bool isDescriptorOf(const PackageInformation &information, const std::string &id, const std::string &version);

} // namespace Core::KELP
