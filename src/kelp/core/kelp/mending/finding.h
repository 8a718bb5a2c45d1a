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
    UnreadableDescriptor, ///< A descriptor cannot be read, or is that of another package, version or key.
    Missing,              ///< A file of the version is not published.
    Dead,                 ///< The source of a published file is lost, or the version of the link `current`.
    Changed,              ///< A published copy has another content than its source, or is a link now.
    Foreign,              ///< A foreign entry is in a directory of ours, or where a published file belongs.
    Unlisted,             ///< The version's lists do not match its published files and directories.
    Stray,                ///< A link or copy into the store that no list names and no version publishes.
    StaleVersion,         ///< A version that no link names.
    Leftover,             ///< A remnant of a killed run.
    UnreadableLines,      ///< The registry has unreadable lines.
    Unregistered,         ///< The registry does not say that it is installed.
    Unbound,              ///< It is bound to no source, an unknown one, or another than its certificate's.
    OrphanBinding,        ///< A binding of a package that is nowhere.
    Altered,              ///< A file of the version has other content than was staged.
    Mode,                 ///< A file or directory has other permissions than it should have.
    Owner,                ///< A file or directory has another owner than it should have.
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
    /// Mends this one fault and loses nothing; empty when only a person or the launcher can. After a kill at
    /// any call the next examination finds the rest and goes on. Raises what the steps of the repair raise.
    std::function<void()> mend;
};

} // namespace Core::KELP
