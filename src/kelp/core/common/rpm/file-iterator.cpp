#include "kelp/core/common/rpm/file-iterator.h"

#include "kelp/core/common/rpm/current-entry.h"

namespace Common::Rpm {

namespace {

/// Whether this is the name under which the walk over the payload finds the content. librpm tells that only
/// in a walk over the payload; in a walk over the header it denies all names of a set of hard links.
bool isNameWithContent(rpmfi iterator) {
    const int *indexes = nullptr;
    return rpmfiFLinks(iterator, &indexes) < 2 || indexes[0] == rpmfiFX(iterator);
}

} // namespace

FileIterator::FileIterator(const Reader &reader) :
    Reader(reader), files_(fileList()), iterator_(rpmfilesIter(files_.get(), RPMFI_ITER_FWD), rpmfiFree) {}

FileIterator::FileIterator(const std::filesystem::path &package) : FileIterator(Reader(package)) {}

void FileIterator::forEach(const std::function<bool(const Entry &)> &callback, Names names,
                           Unexpected unexpected) const {
    rpmfi iterator = iterator_.get();
    const auto makeRegularFile = [&](auto permissions) -> std::optional<RegularFile> {
        if (names == Names::WithContent && !isNameWithContent(iterator))
            return std::nullopt;
        return RegularFile{permissions};
    };
    rpmfiInit(iterator, 0);
    while (rpmfiNext(iterator) >= 0) {
        const auto entry = currentEntry<Entry>(iterator, makeRegularFile, unexpected == Unexpected::Silent);
        if (entry && callback(*entry))
            return;
    }
}

} // namespace Common::Rpm
