#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/file-identity.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace Validator {

/// A file of a package, mapped for reading: its checkers see all of it, and it takes no memory but
/// the page cache, however large it is. A small one is copied, which takes less time.
///
/// The file must not shrink as long as the object lives. The files of a package lie in a directory of the
/// package manager's own while they are judged, so that nobody else can cut them.
class MappedFile {
public:
    /// The file at `path`, links followed. Empty when it is anything but a regular file: a pipe or a device
    /// that a package ships is never waited for. Raises ErrorCode::Filesystem "Couldn't map file: PATH" for
    /// one that cannot be opened, and for a regular file that cannot be had as a whole.
    static std::shared_ptr<const MappedFile> open(const std::filesystem::path &path);

    /// As long as one lives, all openings of its path by its thread share one: a file is asked for by several
    /// checkers of each profile, and to open a small one takes longer than to judge it. One at a time; it
    /// lives no longer than the file stays as it is.
    class Sharing {
    public:
        explicit Sharing(const std::filesystem::path &path);
        Sharing(const Sharing &) = delete;
        Sharing &operator=(const Sharing &) = delete;
        ~Sharing();
    };

    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;
    ~MappedFile();

    /// The content; the view lives as long as the object.
    std::string_view bytes() const { return bytes_; }
    /// Tells that a reader went over `size` more bytes. Lets go of all memory of the file each 16 MiB:
    /// whoever reads on, or again, has it from the page cache. All views stay as they are.
    void passed(std::size_t size) const {
        passed_ += size;
        if (passed_ >= mostInUse)
            letGo();
    }
    /// The same for all names of the file.
    const Common::FileIdentity &identity() const { return identity_; }

private:
    explicit MappedFile(const Common::FileIdentity &identity) : identity_(identity) {}
    void read(const Common::FileDescriptor &file, const std::filesystem::path &path);
    static std::shared_ptr<const MappedFile> openAnew(const std::filesystem::path &path);
    void letGo() const;

    static constexpr std::size_t mostInUse = std::size_t(16) << 20;

    std::string_view bytes_;
    std::string copy_; ///< Empty for a file that is mapped.
    Common::FileIdentity identity_;
    mutable std::size_t passed_ = 0; ///< Since memory was let go.
};

} // namespace Validator
