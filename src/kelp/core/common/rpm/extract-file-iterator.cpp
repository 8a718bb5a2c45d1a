#include "kelp/core/common/rpm/extract-file-iterator.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/rpm/current-entry.h"
#include "kelp/core/common/rpm/tags.h"

#include <rpm/rpmfi.h>
#include <rpm/rpmfiles.h>
#include <rpm/rpmio.h>

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace Common::Rpm {

namespace {

struct HardLinkDescription {
    std::filesystem::path path;
    int fileIndex;
};

std::shared_ptr<rpmfi_s> openPayload(FD_t file, const std::string &compressor, rpmfiles files) {
    // Not in librpm's order with the content of hard links first: that reads on to the content, and drops the
    // files in between. The decompressor is laid upon the same file object, whose owner stays the same.
    FD_t payload = Fdopen(file, ("r." + compressor).c_str());
    if (!payload)
        throw Error(ErrorCode::BadPackageFileFormat, "Couldn't open rpm package for extraction");
    return {rpmfiNewArchiveReader(payload, files, RPMFI_ITER_READ_ARCHIVE), rpmfiFree};
}

/// An archive reader cannot be moved, so the names come from the header's list.
std::string nameAt(rpmfiles files, int fileIndex) {
    const std::unique_ptr<char, decltype(&std::free)> name(rpmfilesFN(files, fileIndex), std::free);
    return name ? name.get() : "";
}

std::vector<HardLinkDescription> furtherNames(rpmfiles files, int fileIndex) {
    const int *indexes = nullptr;
    const std::uint32_t count = rpmfilesFLinks(files, fileIndex, &indexes);
    std::vector<HardLinkDescription> names;
    for (std::uint32_t i = 0; count > 1 && i < count; ++i)
        if (indexes[i] != fileIndex)
            names.push_back({nameAt(files, indexes[i]), indexes[i]});
    return names;
}

/// The name that stands for all of a set of hard links.
int firstName(rpmfiles files, int fileIndex) {
    const int *indexes = nullptr;
    return rpmfilesFLinks(files, fileIndex, &indexes) > 1 ? indexes[0] : fileIndex;
}

/// librpm allocates for a link's text the length that the header claims.
void requireShortLinks(rpmfiles files) {
    const rpm_count_t count = rpmfilesFC(files);
    for (int i = 0; static_cast<rpm_count_t>(i) < count; ++i)
        if (S_ISLNK(rpmfilesFMode(files, i)) && rpmfilesFSize(files, i) > PATH_MAX)
            throw Error(ErrorCode::BadPackageFileFormat, "Couldn't read rpm package")
                .because("a link of it is longer than any path");
}

/// librpm looks up each file of the payload in the header: by bisection, then, if the list is out of order,
/// file by file. For a million files that would take days. rpmbuild's lists are in order.
std::shared_ptr<rpmfiles_s> searchableFileList(const Reader &reader) {
    constexpr rpm_count_t searchedAnyhow = 4096;
    std::shared_ptr<rpmfiles_s> files = reader.fileList();
    requireShortLinks(files.get());
    const rpm_count_t count = rpmfilesFC(files.get());
    std::string last;
    for (rpm_count_t i = 0; count > searchedAnyhow && i < count; ++i) {
        std::string name = nameAt(files.get(), static_cast<int>(i));
        if (name < last)
            throw Error(ErrorCode::BadPackageFileFormat, "Couldn't read rpm package")
                .because("its long file list is out of order");
        last = std::move(name);
    }
    return files;
}

} // namespace

ExtractFileIterator::ExtractFileIterator(const std::filesystem::path &package, Signatures signatures) :
    Reader(package, signatures),
    files_(searchableFileList(*this)),
    archive_(openPayload(file(), tagOr(Tag::PayloadCompressor, "gzip"), files_.get())) {}

void ExtractFileIterator::forEach(const std::function<bool(const Entry &)> &callback) const {
    const auto makePackedFile = [&](auto permissions) -> std::optional<PackedFile> {
        // All names of a set come with the last one, which has the content.
        if (!rpmfiArchiveHasContent(archive_.get()))
            return std::nullopt;
        return PackedFile(permissions, archive_);
    };
    const std::unique_ptr<rpmfi_s, decltype(&rpmfiFree)> list(rpmfilesIter(files_.get(), RPMFI_ITER_FWD),
                                                              rpmfiFree);
    int next;
    while ((next = rpmfiNext(archive_.get())) >= 0) {
        rpmfiSetFX(list.get(), firstName(files_.get(), next));
        const auto entry = currentEntry<Entry>(list.get(), makePackedFile);
        if (!entry)
            continue;
        const bool stop = callback(*entry);
        if (std::holds_alternative<PackedFile>(entry->kind))
            forEachFurtherName(*entry, callback);
        // Only now: a caller that stops at the first name still gets the file's other names.
        if (stop)
            return;
    }
    // Otherwise a payload that is damaged between two files would pass for a smaller package. librpm also
    // ends differently when a listed file, directory or link, other than a ghost, is missing.
    if (next != RPMERR_ITER_END)
        throw Error(ErrorCode::Internal, "Couldn't read content from rpm package");
}

bool ExtractFileIterator::isNameOf(const std::filesystem::path &path, const Entry &file) const {
    return file.path == path ||
           std::ranges::any_of(furtherNames(files_.get(), file.fileIndex),
                               [&](const HardLinkDescription &name) { return name.path == path; });
}

void ExtractFileIterator::forEachFurtherName(const Entry &file,
                                             const std::function<bool(const Entry &)> &callback) const {
    for (HardLinkDescription &name : furtherNames(files_.get(), file.fileIndex))
        callback({std::move(name.path), HardLink{file.path}, file.signable, name.fileIndex});
}

} // namespace Common::Rpm
