#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/take-over/compact-paths.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Core::KELP {

/// A file of rpm's record, as it stood on the disk when its package was staged.
struct JournalledFile {
    std::string path;                             ///< Absolute.
    std::optional<Common::FileIdentity> identity; ///< Nothing where nothing stood.
    bool isLinked = false; ///< The tree holds a further name of this very file, and no copy.
};

/// A place at which the store publishes a file of the package. Its number in the journal is part of the
/// temporary name beside it (TargetExchange).
struct JournalledTarget {
    std::string path;                ///< Absolute.
    std::string source;              ///< The file's path in the package's tree.
    std::optional<std::size_t> file; ///< Which of rpm's files stood there; nothing where none did.
};

/// The element of a list that makes its elements up, for a loop over them.
template<class List>
struct Position {
    const List *list;
    std::size_t number;

    auto operator*() const { return (*list)[number]; }
    Position &operator++() {
        ++number;
        return *this;
    }
    bool operator==(const Position &) const = default;
};

/// rpm's files of one package. One may have tens of thousands, and a group is in memory as a whole.
class JournalledFiles {
public:
    std::size_t size() const { return notes_.size(); }
    JournalledFile operator[](std::size_t number) const {
        const Note &note = notes_[number];
        return {paths_[number], note.isThere ? std::optional(note.identity) : std::nullopt, note.isLinked};
    }
    Position<JournalledFiles> begin() const { return {this, 0}; }
    Position<JournalledFiles> end() const { return {this, size()}; }

    void push_back(const JournalledFile &file) {
        paths_.push_back(file.path);
        notes_.push_back(
            {file.identity.value_or(Common::FileIdentity()), file.identity.has_value(), file.isLinked});
    }

    /// Gives back what growing has reserved.
    void shrinkToFit() {
        paths_.shrinkToFit();
        notes_.shrink_to_fit();
    }

private:
    struct Note {
        Common::FileIdentity identity;
        bool isThere;
        bool isLinked;
    };

    CompactPaths paths_;
    std::vector<Note> notes_;
};

/// The targets of one package, kept likewise: a target and its source end in the same words, and begin as
/// those of their neighbours do.
class JournalledTargets {
public:
    std::size_t size() const { return ends_.size(); }
    JournalledTarget operator[](std::size_t number) const;
    Position<JournalledTargets> begin() const { return {this, 0}; }
    Position<JournalledTargets> end() const { return {this, size()}; }

    void push_back(const JournalledTarget &target);

    /// Gives back what growing has reserved.
    void shrinkToFit();

private:
    /// No list is as long as this: CompactPaths has an end before.
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

    struct Beginnings {
        std::string path;
        std::string source;
        std::size_t first; ///< The number of the first target that begins so.
    };

    std::vector<Beginnings> beginnings_;
    CompactPaths ends_;
    std::vector<std::uint32_t> files_;
};

/// A directory that the take-over makes or removes.
struct JournalledDirectory {
    std::string path;         ///< Absolute.
    bool isGenerated = false; ///< It belongs on the version's list of directories.
    bool isAbsent = false;    ///< It was not there when the package was staged.
    bool isRecorded = false;  ///< rpm's record lists it.
};

/// Tells a directory from another one at the same path, and so a filesystem from another or an unmounted one.
/// In an overlay only the time tells: its inode is 1.
struct DirectoryMark {
    std::uint64_t inode = 0;
    std::int64_t born = 0; ///< Nanoseconds since the epoch; 0 where the filesystem does not keep it.

    bool operator==(const DirectoryMark &) const = default;
};

/// The mark of the directory at `path`; links are followed. Raises ErrorCode::Filesystem.
DirectoryMark markOf(const std::filesystem::path &path);

/// One package on its way from rpm into the store: all that is known of it once rpm has forgotten it.
struct JournalEntry : PackageForMigration {
    std::string digest;         ///< Of the header: the same for a package that is installed again.
    std::uint32_t instance = 0; ///< Of the header: another for a package that is installed again.
    DirectoryMark store;        ///< Of the store's directory: its disk may not be mounted.
    DirectoryMark staging;      ///< Of the temporary directory.
    JournalledFiles files;
    JournalledTargets targets;
    std::vector<JournalledDirectory> directories; ///< Each before what lies in it.
};

/// The packages whose take-over has begun and not ended. Their files may be half published. rpm may still
/// have their records, and some of rpm's files may still exist. The journal is the file
/// var/lib/kelp/takeover.journal below the root prefix. It is written only after each tree that it names is
/// complete and durable. A target is touched only after the journal that names it is durable.
///
/// docs/formats.md has the format, "kelp take-over 2". Each fact has a line, with a word and its values. The
/// last line is "end" with the number of packages. Without it the file counts as damaged: part of it is
/// missing.
class TakeOverJournal {
public:
    static std::filesystem::path path();

    /// The packages of the journal; none when there is no journal. A journal that is damaged, or names a tree
    /// outside the temporary directory, raises ErrorCode::Internal. The text is "Couldn't read the take-over
    /// journal: PATH", with the heading in recovery.md that tells what to do. If the file cannot be read,
    /// raises as Common::readIfExists() does.
    static std::vector<JournalEntry> read(const std::filesystem::path &temporaryDirectory);

    /// Their ids. Raises as read() does.
    static std::set<std::string> readIds(const std::filesystem::path &temporaryDirectory);

    /// Replaces the journal by the packages of both lists, in one step and durably. Raises
    /// ErrorCode::Filesystem; then the journal before it stands, or the new one, which may not be durable.
    static void write(const std::vector<JournalEntry> &entries, const std::vector<JournalEntry> &more = {});

    /// Ends the journal, on disk too. Raises ErrorCode::Filesystem.
    static void remove();

    /// The bytes of the file, and back. `parse` raises ErrorCode::Internal.
    static std::string format(const std::vector<JournalEntry> &entries,
                              const std::vector<JournalEntry> &more = {});
    static std::vector<JournalEntry> parse(std::string content);

private:
    static void requireWithin(const std::filesystem::path &temporaryDirectory,
                              const std::vector<JournalEntry> &entries);
};

} // namespace Core::KELP
