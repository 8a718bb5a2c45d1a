#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Core::KELP {

/// The kinds of faults of a package.
enum class FindingKind {
    Staged,               ///< It is on its way from rpm into the store.
    UnfinishedUpdate,     ///< An installation, an update, a publication or a removal was begun.
    Rescued,              ///< Its files are kept aside, as they could not be published.
    Unexamined,           ///< A look at it failed.
    UnreadableDescriptor, ///< Its current version is unknown, or the descriptor is another package's.
    Missing,              ///< A file of the version is not published.
    Dead,                 ///< A published link leads nowhere.
    Changed,              ///< A published copy has another content than its source.
    Foreign,              ///< A foreign entry is in the store, or at the place of a published file.
    Unlisted,             ///< A published file is not on the version's lists.
    Stray,                ///< A file that a version now gone had published, and that no list names.
    StaleVersion,         ///< A version that no link names.
    Leftover,             ///< A remnant of a killed run.
    UnreadableLines,      ///< The registry has unreadable lines.
    Unregistered,         ///< The registry does not say that it is installed.
    Unbound,              ///< It is bound to no source, or to another than its certificate's.
    OrphanBinding,        ///< A binding of a package that is nowhere.
    Altered,              ///< A file of the version has other content than was staged.
    Mode,                 ///< A file or directory has other permissions than it had.
    Owner,                ///< A file or directory has another owner than it had.
    Type,                 ///< An entry of another kind is in place of a file of the version.
    Gone,                 ///< An unpublished file of the version is missing.
    Attribute,            ///< A file does not carry the application's id.
    StillInRpm,           ///< rpm has a record of it beside the store.
};

/// "missing", "unfinished-update".
const char *nameOf(FindingKind kind);

/// One thing that is wrong.
struct Finding {
    std::string id; ///< Empty for a fault of no package.
    FindingKind kind;
    std::filesystem::path path;
    std::string text; ///< The fault, and what its repair would do.
    /// Mends this one fault and loses nothing; empty when only a person can. After a kill at any call the
    /// next examination finds the rest and goes on. Raises what the store raises.
    std::function<void()> mend;
};

} // namespace Core::KELP
