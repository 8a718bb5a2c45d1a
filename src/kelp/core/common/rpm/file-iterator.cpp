#include "kelp/core/common/rpm/file-iterator.h"

#include "kelp/core/common/rpm/current-entry.h"

namespace Common::Rpm {

FileIterator::FileIterator(const Reader &reader) :
    Reader(reader),
    files_(fileList(*this)),
    iterator_(rpmfilesIter(files_.get(), RPMFI_ITER_FWD), rpmfiFree) {}

FileIterator::FileIterator(const std::filesystem::path &package) : FileIterator(Reader(package)) {}

void FileIterator::forEach(const std::function<bool(const Entry &)> &callback) const {
    rpmfi iterator = iterator_.get();
    rpmfiInit(iterator, 0);
    while (rpmfiNext(iterator) >= 0) {
        const auto entry =
            currentEntry<Entry>(iterator, [](auto permissions) { return RegularFile{permissions}; });
        if (entry && callback(*entry))
            return;
    }
}

} // namespace Common::Rpm
