#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct _FD_s;
struct headerToken_s;
struct rpmfiles_s;

namespace Common::Rpm {

/// Whose policy decides on the signatures of a package file.
enum class Signatures {
    OfMachine,  ///< The machine's rpm configuration and the keys that it knows.
    Unchecked,  ///< None is checked; no database of keys is opened, or made.
    NorDigests, ///< Nor are the header's digests: only to find out what is wrong with a package.
};

/// A package seen through its header. Copies share the header and the open file. The tags' values are the
/// package maker's, and are not judged here.
class Reader {
public:
    /// Opens a package file and reads its header. librpm prints its objections to standard error, or to the
    /// log after logLibrary(). The file stays open as long as a copy of this reader lives. Raises
    /// ErrorCode::FileNotFound "Couldn't open rpm package". Raises ErrorCode::BadPackageFileFormat "Couldn't
    /// read rpm package" for a file that is no binary package (a pipe, a directory, a source package), whose
    /// header is cut short or damaged, or that the policy `signatures` refuses. Error::systemReason() says
    /// which, but takes a wrong signature for a damaged header. Does not look at the payload.
    explicit Reader(const std::filesystem::path &package, Signatures signatures = Signatures::OfMachine);

    /// Borrows a header, not null. The reader and its copies are valid only as long as the header; with
    /// Transaction::forEachInstalled, until the callback returns.
    explicit Reader(headerToken_s *header);

    /// The text of a string tag, or the first text of a list (see tags.h). Raises
    /// ErrorCode::BadPackageFileFormat "Couldn't retrieve rpm tag from package (type=TAG)" when the header
    /// does not have the tag, or not as text.
    std::string tag(std::int32_t tag) const;

    /// The same with `fallback` in place of an error.
    std::string tagOr(std::int32_t tag, const std::string &fallback) const;

    /// The names, without versions, of a set of dependencies, in the header's order and with repetitions.
    /// `tag` is the tag of the set's names, for example Tag::ProvideName. Empty when the header has no such
    /// set. A boolean dependency such as "(a if b)" gives its first word, with its parenthesis: "(a".
    std::vector<std::string> dependencies(std::int32_t tag) const;

    /// The SHA-256 of the whole header, in hexadecimal digits: tells whether two openings of a file gave the
    /// same one. Raises std::bad_alloc.
    std::string digest() const;

    /// librpm's list of the package's files, which keeps the header alive. It is made at the first call,
    /// since that takes long for many files, and kept in this object. Raises ErrorCode::BadPackageFileFormat
    /// "Couldn't read rpm package" when the list contradicts itself, or when its paths together are far
    /// longer than the header: a small package could claim a gigabyte of paths. Two threads must not call
    /// this on one object at once.
    std::shared_ptr<rpmfiles_s> fileList() const;

    /// The bytes of all regular files by the header, without those that are never in the payload; hard links
    /// count once. A sum that does not fit becomes the highest number. Raises as fileList() does.
    std::uint64_t contentSize() const;

    /// librpm's header, owned by this object or, for a borrowed header, by its owner.
    headerToken_s *header() const { return header_.get(); }

protected:
    /// The package file, read up to the payload; null for a borrowed header.
    _FD_s *file() const { return file_.get(); }

private:
    std::shared_ptr<_FD_s> file_;
    std::shared_ptr<headerToken_s> header_;
    mutable std::shared_ptr<rpmfiles_s> fileList_;
};

} // namespace Common::Rpm
