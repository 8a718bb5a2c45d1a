#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/package/package-information.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// A file of a package that rpm is to erase, as it stood on the disk when it was staged.
struct JournalledFile {
    std::string path; ///< Absolute. Text, for a machine has thousands of them and path objects are large.
    std::optional<Common::FileIdentity> identity; ///< Nothing where nothing stood.
    bool isShared = false;                        ///< Another record of rpm has it too.
    bool isConfiguration = false;
};

/// One package on its way from rpm into the store: what there is to know of it once rpm has forgotten it.
struct JournalEntry : PackageForMigration {
    std::string digest;         ///< Of the header: the same for a package that is installed again.
    std::uint32_t instance = 0; ///< Of the header: another for a package that is installed again.
    std::vector<JournalledFile> files;
};

/// The list of the packages that rpm is erasing or has erased and that are not whole in the store yet: the
/// file var/lib/kelp/takeover.journal below the root prefix. That it is there says that every tree it names
/// is complete and on disk; no package is erased that a journal on disk does not name.
///
/// The format, "kelp take-over 1", is a line for each fact, a word and its value; docs/formats.md has it. It
/// ends in a line "end" with the number of packages, so that a torn file shows.
class TakeOverJournal {
public:
    static std::filesystem::path path();

    /// The packages of the journal; none when there is no journal. Raises ErrorCode::Internal "Couldn't read
    /// the take-over journal: PATH" for one that is damaged, as one is whose trees lie elsewhere than in the
    /// temporary directory, and as Common::readIfExists() does for one that cannot be read.
    static std::vector<JournalEntry> read(const std::filesystem::path &temporaryDirectory);

    /// Replaces the journal in one step, and has it on disk on return. Raises ErrorCode::Filesystem; then the
    /// journal before it stands.
    static void write(const std::vector<JournalEntry> &entries);

    /// Ends the journal, on disk too. Raises ErrorCode::Filesystem.
    static void remove();

    /// The bytes of the file, and back. `parse` raises ErrorCode::Internal.
    static std::string format(const std::vector<JournalEntry> &entries);
    static std::vector<JournalEntry> parse(const std::string &content);

private:
    static void requireWithin(const std::filesystem::path &temporaryDirectory,
                              const std::vector<JournalEntry> &entries);
};

} // namespace Core::KELP
