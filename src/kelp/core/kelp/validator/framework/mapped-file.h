#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/text.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace Validator {

/// A file of a package, mapped for reading. Checkers see all of it, and at any size it takes only page cache.
/// A file of at most 64 KiB is copied, which is faster.
///
/// The file must not shrink as long as the object lives. While files are judged, they belong to this
/// process's user. Another user can cut only a file that the package lets all users write, if its directory
/// can be reached. An installation closes the directory; a caller's own directory may be open.
class MappedFile {
public:
    /// Opens the file at `path`, and follows links. Returns nothing for anything but a regular file, so that
    /// a packaged pipe or device cannot block. Raises ErrorCode::Filesystem "Couldn't map file: PATH" for a
    /// file that cannot be opened, or not be read or mapped as a whole.
    static std::shared_ptr<const MappedFile> open(const std::filesystem::path &path);

    /// While a Sharing lives, all calls of open() for its path, in its thread, return one object. Several
    /// checkers of each profile open a file, and opening a small one takes longer than judging it. A thread
    /// has at most one Sharing, which must end before the file changes.
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

/// Goes forward through a text of any length, piece by piece: a mapped file releases the passed memory.
class Passage {
public:
    /// Through a text outside of a mapped file.
    Passage() = default;
    /// Through the content of a file, which must outlive the object.
    explicit Passage(const MappedFile &file) : file_(&file) {}

    /// As MappedFile::passed() does.
    void passed(std::size_t size) const {
        if (file_ != nullptr)
            file_->passed(size);
    }

    /// Where the first `wanted` at or after `from` begins; npos when there is none. `wanted` is not empty.
    std::size_t find(std::string_view text, std::string_view wanted, std::size_t from = 0) const {
        return search(text, wanted, wanted.size(), from);
    }
    std::size_t find(std::string_view text, char wanted, std::size_t from = 0) const {
        return search(text, wanted, 1, from);
    }

    /// Takes the longest beginning of `text` that holds only characters of the class, and returns it.
    template<class Class>
    std::string_view takeLeading(std::string_view &text, Class isInClass) const {
        std::size_t size = 0;
        for (std::size_t part = piece; part == piece; size += part) {
            part = leading(text.substr(size, piece), isInClass).size();
            passed(part);
        }
        const std::string_view taken = text.substr(0, size);
        text.remove_prefix(size);
        return taken;
    }

private:
    template<class Wanted>
    std::size_t search(std::string_view text, Wanted wanted, std::size_t size, std::size_t from) const {
        for (std::size_t at = from; at < text.size(); at += piece) {
            // Includes the beginning of the next piece, where a match may end.
            const std::string_view part = text.substr(at, piece + size - 1);
            const std::size_t found = part.find(wanted);
            passed(std::min(found, part.size()));
            if (found != std::string_view::npos)
                return at + found;
        }
        return std::string_view::npos;
    }

    static constexpr std::size_t piece = std::size_t(1) << 20;

    const MappedFile *file_ = nullptr;
};

/// The status of the unpacked file at `path`, links followed. Raises ErrorCode::Filesystem "Couldn't look at
/// file: PATH" when the look fails, also for a missing file: that is neither sound nor the maker's fault.
struct stat statusOf(const std::string &path);

} // namespace Validator
