#pragma once

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/rpm/package-entry.h"

#include <rpm/rpmfi.h>

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <utility>

namespace Common::Rpm {

// Shared code of the two walks over a package. For the sources of this folder only: it includes librpm.

// The file on which `iterator` stands. The texts are empty where the header has none.
std::filesystem::path currentPath(rpmfi iterator);
std::filesystem::path currentTarget(rpmfi iterator);
std::filesystem::perms currentPermissions(rpmfi iterator);
bool isCurrentSignable(rpmfi iterator);

/// The entry for the file on which `iterator` stands. None for a regular file that `makeRegularFile` skips,
/// or, with a warning unless `isSilent`, for a kind of file that packages may not hold.
template<class Entry, class MakeRegularFile>
std::optional<Entry> currentEntry(rpmfi iterator, const MakeRegularFile &makeRegularFile,
                                  bool isSilent = false) {
    const auto entry = [&](auto kind) {
        return Entry{currentPath(iterator), std::move(kind), isCurrentSignable(iterator), rpmfiFX(iterator)};
    };
    switch (rpmfiFMode(iterator) & S_IFMT) {
    case S_IFDIR:
        return entry(Directory{currentPermissions(iterator)});
    case S_IFLNK:
        return entry(Symlink{currentTarget(iterator)});
    case S_IFREG:
        if (auto file = makeRegularFile(currentPermissions(iterator)))
            return entry(std::move(*file));
        return std::nullopt;
    default:
        if (!isSilent)
            LogStream(LogLevel::Warning) << "Unexpected entry type in rpm package";
        return std::nullopt;
    }
}

} // namespace Common::Rpm
