#include "kelp/core/kelp/inspection/tree-view.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <utility>

namespace Core::KELP {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct CloseDirectory {
    void operator()(DIR *directory) const { ::closedir(directory); }
};

} // namespace

TreeView::TreeView(const std::filesystem::path &directory) {
    look(Common::FileDescriptor(::open(directory.c_str(), directoryFlags)), directory.string() + '/');
}

void TreeView::look(Common::FileDescriptor directory, const std::string &path) {
    const std::unique_ptr<DIR, CloseDirectory> stream(::fdopendir(directory.get()));
    if (!stream)
        return;
    // The stream owns it from now on.
    const int place = directory.release();
    while (const dirent *entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        struct stat status {};
        status.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        // Not every filesystem tells kinds with names; of directories and links nothing else counts.
        const bool isEnough = entry->d_type == DT_DIR || entry->d_type == DT_LNK;
        if (!isEnough && ::fstatat(place, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(status.st_mode)) {
            look(Common::FileDescriptor(::openat(place, entry->d_name, directoryFlags | O_NOFOLLOW)),
                 path + entry->d_name + '/');
            continue;
        }
        paths_.insert(path + entry->d_name);
        // What a link leads to is counted where it lies, or is not the package's at all.
        if (S_ISREG(status.st_mode))
            bytes_ += static_cast<std::uintmax_t>(status.st_size);
    }
}

} // namespace Core::KELP
