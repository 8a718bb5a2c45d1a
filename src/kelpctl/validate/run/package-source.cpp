#include "kelpctl/validate/run/package-source.h"

#include "kelpctl/file-kind.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/run/channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <system_error>

namespace KelpCtl {

namespace {

constexpr std::size_t chunkSize = 0x10000;

Common::FileDescriptor openList(const std::string &file) {
    Common::FileDescriptor list(file == "-" ? ::dup(STDIN_FILENO)
                                            : ::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (list.get() < 0)
        throw std::system_error(errno, std::generic_category(), "Couldn't open " + file);
    return list;
}

bool isReadable(int file) {
    pollfd poll{file, POLLIN, 0};
    return ::poll(&poll, 1, 0) != 0;
}

mode_t typeOf(const std::string &path, int flags) {
    struct stat status {};
    return ::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0 ? status.st_mode & S_IFMT : 0;
}

/// The packages and directories in a directory; the names of directories end in "/". Nothing, and errno tells
/// why, when it cannot be read.
std::optional<std::vector<std::string>> namesIn(const std::string &directory) {
    auto names = Common::namesIn(
        Common::FileDescriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    if (!names)
        return std::nullopt;
    std::vector<std::string> wanted;
    for (std::string &name : *names) {
        const mode_t type = typeOf(directory + name, AT_SYMLINK_NOFOLLOW);
        // The use of the name will tell why it cannot be looked at. One that is gone meanwhile is no failure.
        const bool isUnknown = type == 0 && errno != ENOENT;
        if (const bool isPackage = name.ends_with(".rpm"); isPackage && (type == S_IFREG || isUnknown))
            wanted.push_back(std::move(name));
        else if (type == S_IFDIR || isUnknown)
            wanted.push_back(name + '/');
    }
    return wanted;
}

} // namespace

PackageSource::PackageSource(std::vector<std::string> names, const std::optional<List> &list) :
    names_(names.rbegin(), names.rend()) {
    if (!list)
        return;
    list_ = openList(list->file);
    separator_ = list->hasZeros ? '\0' : '\n';
}

std::optional<std::string> PackageSource::next() {
    isWaiting_ = false;
    while (true) {
        if (auto file = nextOfWalk())
            return file;
        std::optional<std::string> name = nextName();
        if (!name || typeOf(*name, 0) != S_IFDIR)
            return name;
        beginWalk(*name);
    }
}

std::optional<std::string> PackageSource::nextName() {
    if (names_.empty())
        return nextOfList();
    std::string name = std::move(names_.back());
    names_.pop_back();
    return name;
}

std::optional<std::string> PackageSource::nextOfList() {
    while (list_.get() >= 0) {
        const std::size_t end = buffer_.find(separator_);
        std::string name = buffer_.substr(0, end);
        if (end == std::string::npos) {
            // A list that is still being written must not hold up finished reports.
            isWaiting_ = !isReadable(list_.get());
            if (isWaiting_)
                return std::nullopt;
            const std::string chunk = readSome(list_.get(), chunkSize);
            buffer_ += chunk;
            if (!chunk.empty())
                continue;
            list_ = Common::FileDescriptor();
            buffer_.clear();
        } else {
            buffer_.erase(0, end + 1);
        }
        if (!name.empty())
            return name;
    }
    return std::nullopt;
}

void PackageSource::beginWalk(const std::string &directory) {
    walked_ = directory;
    found_ = sources_ = 0;
    enter(directory.ends_with('/') ? directory : directory + '/');
}

void PackageSource::enter(const std::string &directory) {
    auto names = namesIn(directory);
    if (!names)
        complain(shown(directory) + " cannot be read: " + std::strerror(errno));
    else
        std::ranges::sort(*names, std::greater());
    walk_.push_back({directory, std::move(names).value_or(std::vector<std::string>())});
}

std::optional<std::string> PackageSource::nextOfWalk() {
    while (!walk_.empty()) {
        Level &level = walk_.back();
        if (level.names.empty()) {
            walk_.pop_back();
            if (walk_.empty())
                endWalk();
            continue;
        }
        const std::string path = level.path + level.names.back();
        level.names.pop_back();
        if (path.ends_with('/'))
            enter(path);
        else if (isWanted(path))
            return path;
    }
    return std::nullopt;
}

bool PackageSource::isWanted(const std::string &file) {
    const bool isSource = kindOf(file) == FileKind::SourcePackage;
    ++(isSource ? sources_ : found_);
    return !isSource;
}

void PackageSource::endWalk() {
    if (sources_ > 0)
        std::cerr << "kelpctl: " << shown(walked_) << ": " << sources_ << " source packages passed over\n";
    // An empty directory is more often a wrong name than a stock without packages.
    if (found_ == 0)
        complain(shown(walked_) + " holds no packages");
}

void PackageSource::complain(const std::string &text) {
    std::cerr << "kelpctl: " << text << '\n';
    hadTrouble_ = true;
}

} // namespace KelpCtl
