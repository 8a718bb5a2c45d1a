#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Core::KELP {

/// What can be wrong with a package.
enum class FindingKind {
    Staged,               ///< It is on its way from rpm into the store.
    UnfinishedUpdate,     ///< An installation, an update, a publication or a removal was begun.
    Rescued,              ///< Its files are kept aside, as they could not be published.
    Unexamined,           ///< Looking at it failed, and nothing is known.
    UnreadableDescriptor, ///< Nobody knows what its current version is, or the descriptor is another's.
    Missing,              ///< A file of the version is not published.
    Dead,                 ///< A published link leads nowhere.
    Changed,              ///< A published copy has another content than its source.
    Foreign,              ///< Something that is not ours is in the store, or where a file is to be published.
    Unlisted,             ///< What is published is not on the version's lists.
    Stray,                ///< What a version published that is gone, and that no list names.
    StaleVersion,         ///< A version that no link names.
    Leftover,             ///< What a killed run has left.
    UnreadableLines,      ///< The registry has lines that nobody can read.
    Unregistered,         ///< The registry does not say that it is installed.
    Unbound,              ///< It is bound to no source, or to another than its certificate's.
    OrphanBinding,        ///< A binding of a package that is nowhere.
    Altered,              ///< A file of the version is not what was staged.
    Mode,                 ///< A file or directory has other permissions than it had.
    Owner,                ///< A file or directory belongs to somebody else than it did.
    Type,                 ///< Something of another kind is in the place of a file of the version.
    Gone,                 ///< A file of the version is not there, and was not published.
    Attribute,            ///< A file does not carry the application's id.
};

/// "missing", "unfinished-update".
const char *nameOf(FindingKind kind);

/// One thing that is wrong.
struct Finding {
    std::string id; ///< Empty for what belongs to no package.
    FindingKind kind;
    std::filesystem::path path;
    std::string text; ///< What is wrong, and what mending would do.
    /// Mends this one thing, and loses nothing by it; empty when nobody but a person can. Killed at any call,
    /// it leaves what the next examination finds and goes on with. Raises what the store raises.
    std::function<void()> mend;
};

} // namespace Core::KELP
