#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/file-identity.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace Validator {

/// A file of a package, mapped for reading: checkers see all of it, and it takes only page cache, at any
/// size. A small file is copied, which is faster.
///
/// The file must not shrink as long as the object lives. While files are judged they lie in the package
/// manager's own directory, so no other process can cut them.
class MappedFile {
public:
    /// The file at `path`, links followed. Empty for anything but a regular file: a packaged pipe or device
    /// must not block. Raises ErrorCode::Filesystem "Couldn't map file: PATH" for a file that cannot be
    /// opened, or not mapped as a whole.
    static std::shared_ptr<const MappedFile> open(const std::filesystem::path &path);

    /// While one lives, all openings of its path by its thread share one file. Several checkers of each
    /// profile open a file, and opening a small one takes longer than judging it. One at a time; it must end
    /// before the file changes.
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
    /// Notes that a reader has passed `size` more bytes. Releases all memory of the file every 16 MiB: later
    /// reads take it from the page cache. All views stay valid.
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
    mutable std::size_t passed_ = 0; ///< Since the last release of memory.
};

} // namespace Validator
