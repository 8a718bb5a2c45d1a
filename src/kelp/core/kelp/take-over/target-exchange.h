#pragma once

#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Common {
class Error;
}

namespace Core::KELP {

/// The targets of one package, at which the store's files take the place of rpm's. A target where rpm had a
/// file holds one of the two at every moment, and opens.
///
/// The store's file is made beside its target, under a temporary name, and the two are exchanged in one step.
/// From then on rpm's file has the temporary name. It can be exchanged back until rpm forgets the package.
/// The temporary name is ".kelp-", the first 12 hexadecimal digits of the id's SHA-256, "-" and the number of
/// the target in the journal. After a kill, the next start tells from the journal which of the two names has
/// rpm's file.
///
/// Directories are reached by Common::Directory::byLinksOfRoot. Operations raise what Common::Directory,
/// MappingMaker, findMapping() and Common::copyInOneStep() raise. If another file has appeared at a target by
/// the time of an exchange, they raise what Obstacles::Raise says, or log it (Obstacles::PassOver). If the
/// filesystem cannot exchange files, publish() raises ErrorCode::FileConflict, and the ways back raise
/// ErrorCode::Filesystem.
class TargetExchange {
public:
    /// `tree` is where the package's tree lies by now, and `current` its link of that name, absolute. All
    /// references must outlive the object. Raises as publicationMode() does.
    TargetExchange(const JournalEntry &entry, std::filesystem::path tree, std::filesystem::path current,
                   Common::IdentityComparison &identities);

    /// What to do about a target that has a foreign or changed file.
    enum class Obstacles {
        Raise,   ///< ErrorCode::FileConflict for a foreign file, ErrorCode::Internal for a changed one.
        PassOver ///< It is logged and left.
    };

    /// If the package is published by copies, makes the copies that publish() will exchange. Returns whether
    /// it made any. The caller then flushes them: otherwise a power cut could leave a target with an empty
    /// file. Skips targets that are the store's already, and those to which publish() will object.
    bool prepare();

    /// Brings each target to the store's file, in the order of the journal. Targets exchanged before it
    /// raises stay so.
    void publish(Obstacles obstacles);

    /// The targets that publish() has found or made the store's.
    const std::vector<std::string> &published() const { return published_; }

    /// Puts rpm's file back at each target that is the store's, or removes the store's file where none stood.
    /// Foreign files stay. If neither rpm's file nor the tree's is left, our link goes and our copy stays. A
    /// failure is raised at the end, after the other targets.
    void takeBack();

    /// The same for a package that rpm has installed since. A target that `isListed` denies goes. A file that
    /// is not under its temporary name comes out of the tree.
    void giveBack(const std::function<bool(const std::string &path)> &isListed);

    /// Tidies the temporary names after a killed run, before anything else is done. Such a name may have
    /// rpm's file, or a changed file, which is neither rpm's nor the store's. Either goes back to a target
    /// that is missing or has the store's file. But with `keepsRpms`, rpm's file stays beside the store's
    /// file, for publish() or takeBack(). If the target has any other file, a changed regular file is renamed
    /// as clear() renames it. Everything else under a temporary name is removed, and so is an unfinished copy
    /// (Common::unfinishedCopyName).
    void settleNames(bool keepsRpms);

    /// Removes rpm's files under the temporary names. One that somebody has written to by then is renamed to
    /// NAME.rpmsave, with a warning. Call it only after rpm's database is on disk without the header.
    void clear();

private:
    enum class Occupant { Nothing, Rpms, Ours, Somebodys };

    struct Spot {
        JournalledTarget target;
        const Common::Directory &parent;
        std::string name;
        std::string temporary;
    };

    std::string source(const JournalledTarget &target) const;
    std::string temporaryName(std::size_t number) const;
    bool isRpms(const struct stat &status, const JournalledTarget &target) const;
    bool isOurs(const std::filesystem::path &place, bool isLink, const JournalledTarget &target) const;
    Occupant occupant(const Spot &spot, const std::string &name) const;
    void forEachTarget(const std::function<void(const Spot &)> &use) const;
    Spot enter(MappingMaker &maker, std::size_t number) const;
    Occupant judge(const Spot &spot) const;
    std::optional<Common::Error> publishOne(MappingMaker &maker, std::size_t number);
    std::optional<Common::Error> bringIn(const Spot &spot, bool isFree) const;
    void returnOne(const Spot &spot, bool isListed) const;
    void removeDead(const Spot &spot) const;
    void exchangeBack(const Spot &spot) const;
    void makeFromTree(const Spot &spot) const;
    void settleName(const Spot &spot, bool keepsRpms) const;
    void keepSomebodys(const Spot &spot) const;

    const JournalEntry *entry_;
    std::filesystem::path tree_;
    std::filesystem::path current_;
    Common::IdentityComparison *identities_;
    MappingMode mode_;
    std::string prefix_; ///< Of the temporary names.
    std::vector<std::string> published_;
};

/// Whether TargetExchange may use this file name for any package. A package that publishes such a name cannot
/// be taken over.
bool isTemporaryName(const std::string &name);

} // namespace Core::KELP
