// The look at a version's tree, in the words of its list.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;
using Type = ContentsEntry::Type;

struct CloseStream {
    void operator()(DIR *stream) const { ::closedir(stream); }
};

/// By descriptors: a directory of the tree may have come into somebody else's hands.
class TreeLook {
public:
    TreeLook(const fs::path &version, const MissedContents &missed, const ContentsVisit &visit) :
        version_(version), missed_(missed), visit_(visit) {}

    void run() {
        attempt({}, [&] { lookInto(AT_FDCWD, version_, {}); });
    }

private:
    static constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

    template<class Look>
    void attempt(const std::string &path, const Look &look) {
        try {
            look();
        } catch (const Error &error) {
            if (!missed_)
                throw;
            missed_(path, error);
        }
    }

    void lookInto(int parent, const std::string &name, const std::string &path) {
        FileDescriptor directory(::openat(parent, name.c_str(), directoryFlags));
        const std::unique_ptr<DIR, CloseStream> stream(directory.get() < 0 ? nullptr
                                                                           : ::fdopendir(directory.get()));
        if (!stream)
            raise("Couldn't read directory: ", path);
        // The stream owns it from now on.
        const int place = directory.release();
        for (const std::string &entry : namesIn(stream.get(), path))
            if (std::string below = path.empty() ? entry : path + '/' + entry; !isStoreOwn(below))
                attempt(below, [&] { lookAt(place, entry, below); });
    }

    std::vector<std::string> namesIn(DIR *stream, const std::string &path) const {
        std::vector<std::string> names;
        errno = 0;
        while (const dirent *entry = ::readdir(stream))
            if (const std::string name = entry->d_name; name != "." && name != "..")
                names.push_back(name);
        // The end is told as a failure is, but for that.
        if (errno != 0)
            raise("Couldn't read directory: ", path);
        std::ranges::sort(names);
        return names;
    }

    void lookAt(int directory, const std::string &name, const std::string &path) {
        constexpr unsigned lowModeBits = 0777;
        struct stat status = {};
        if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            raise("Couldn't look at ", path);
        ContentsEntry entry;
        entry.type = S_ISDIR(status.st_mode)   ? Type::Directory
                     : S_ISREG(status.st_mode) ? Type::File
                     : S_ISLNK(status.st_mode) ? Type::Link
                                               : Type::Other;
        entry.mode = status.st_mode & lowModeBits;
        entry.owner = status.st_uid;
        entry.group = status.st_gid;
        entry.size = entry.type == Type::File ? static_cast<std::uint64_t>(status.st_size) : 0;
        if (entry.type == Type::Link)
            entry.target = targetOf(directory, name, path);
        entry.path = path;
        visit_(entry, directory, name);
        if (S_ISDIR(status.st_mode))
            lookInto(directory, name, path);
    }

    std::string targetOf(int directory, const std::string &name, const std::string &path) const {
        char text[PATH_MAX];
        const ssize_t size = ::readlinkat(directory, name.c_str(), text, sizeof text);
        if (size < 0)
            raise("Couldn't look at ", path);
        return {text, static_cast<std::size_t>(size)};
    }

    [[noreturn]] void raise(const char *words, const std::string &path) const {
        const int reason = errno;
        throw Error(ErrorCode::Filesystem, words + (path.empty() ? version_ : version_ / path).string(),
                    reason);
    }

    fs::path version_;
    const MissedContents &missed_;
    const ContentsVisit &visit_;
};

} // namespace

bool carriesId(const fs::path &file, const std::string &id) {
    // One more than it may have, so that a longer one is another.
    std::string value(id.size() + 1, '\0');
    const ssize_t size = ::lgetxattr(file.c_str(), applicationIdAttribute, value.data(), value.size());
    return size >= 0 && std::string_view(value).substr(0, static_cast<std::size_t>(size)) == id;
}

std::vector<ContentsEntry> contentsOfTree(const fs::path &version, const MissedContents &missed,
                                          const ContentsVisit &visit) {
    std::vector<ContentsEntry> entries;
    const ContentsVisit keep = [&](ContentsEntry &entry, int directory, const std::string &name) {
        if (visit)
            visit(entry, directory, name);
        entries.push_back(entry);
    };
    TreeLook(version, missed, keep).run();
    return entries;
}

void forEachOfTree(const fs::path &version, const ContentsVisit &visit) {
    TreeLook(version, {}, visit).run();
}

} // namespace Core::KELP
