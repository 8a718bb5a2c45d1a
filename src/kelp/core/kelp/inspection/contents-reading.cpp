#include "kelp/core/kelp/inspection/contents-reading.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/digest.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <future>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

/// Opens files of a version, each by its name in the last file's directory if that is the same: a walk from
/// the top would take as long as reading a small file.
class OpenTree {
public:
    explicit OpenTree(const fs::path &version) : tree_(::open(version.c_str(), directoryFlags)) {}

    /// Negative, with errno, on failure. Follows no link, and waits for no writer of a pipe.
    Common::FileDescriptor open(const std::string &path) {
        constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        const std::size_t name = path.rfind('/') + 1;
        const std::string_view above = std::string_view(path).substr(0, name == 0 ? 0 : name - 1);
        if (directory_.get() < 0 || above != above_) {
            above_ = above;
            directory_ = Common::openBeneath(tree_.get(), above.empty() ? "." : above, directoryFlags);
        }
        return Common::FileDescriptor(
            directory_.get() < 0 ? -1 : ::openat(directory_.get(), path.c_str() + name, flags));
    }

private:
    static constexpr int directoryFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

    Common::FileDescriptor tree_;
    Common::FileDescriptor directory_;
    std::string above_; ///< The path of `directory_`.
};

bool carriesOwnId(const std::string &id, const std::string &path, Unread &unread, const GetAttribute &get) {
    std::array<char, 256> value{};
    const long size = get(value.data(), value.size());
    if (size >= 0)
        return std::string_view(value.data(), static_cast<std::size_t>(size)) == id;
    if (errno == ENODATA || errno == ENOTSUP || errno == ERANGE)
        return false;
    unread.add("Couldn't look at the attributes of " + path);
    return true;
}

void ContentsReading::run(Unread &unread) {
    // The first digest initialises librpm's library, which two threads must not do at once.
    const Common::Rpm::Digest first;
    std::future<void> other;
    try {
        other = std::async(std::launch::async, [this] { readAll(); });
    } catch (const std::system_error &) {
        // Then one reads them all.
    }
    readAll();
    if (other.valid())
        other.get();
    for (const auto &[number, missed] : missed_)
        std::ranges::for_each(missed.texts(), [&](const std::string &text) { unread.add(text); });
}

void ContentsReading::readAll() {
    OpenTree tree(version_);
    for (Share share = takeShare(0); share.begin < share.end; share = takeShare(share.end - share.begin))
        for (std::size_t number = share.begin; number < share.end; ++number) {
            Unread missed;
            missed.attempt([&] {
                read(files_[number], tree, missed);
                return true;
            });
            if (missed.texts().empty())
                continue;
            const std::lock_guard lock(mutex_);
            missed_.emplace(number, std::move(missed));
        }
}

/// Many small files, so that the threads seldom meet; or one large file.
ContentsReading::Share ContentsReading::takeShare(std::size_t done) {
    constexpr std::size_t mostFiles = 64;
    constexpr std::uint64_t enoughBytes = 1U << 20;
    const std::lock_guard lock(mutex_);
    for (; done > 0; --done)
        step_();
    Share share{next_, next_};
    for (std::uint64_t bytes = 0;
         share.end < std::min(files_.size(), share.begin + mostFiles) && bytes < enoughBytes; ++share.end)
        bytes += files_[share.end].listed->size;
    next_ = share.end;
    return share;
}

void ContentsReading::read(const FoundFile &file, OpenTree &tree, Unread &unread) const {
    const auto &[listed, found] = file;
    // If the file cannot be read, its attribute shows no difference.
    found->isSignable = listed->isSignable;
    // As text: a path object for each file would cost more than the look.
    const std::string path = version_.native() + '/' + found->path;
    const Common::FileDescriptor opened = tree.open(found->path);
    if (opened.get() < 0)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't read file: " + path, errno);
    if (listed->isSignable)
        found->isSignable = carriesOwnId(id_, path, unread, [&](char *value, std::size_t size) {
            return ::fgetxattr(opened.get(), applicationIdAttribute, value, size);
        });
    if (found->size == listed->size)
        found->digest = Common::Rpm::sha256Of(opened.get(), path, listed->size);
}

} // namespace Core::KELP
