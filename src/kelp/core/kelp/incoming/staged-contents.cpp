#include "kelp/core/kelp/incoming/staged-contents.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/text-index.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/store-names.h"

#include <fcntl.h>

#include <cerrno>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Rpm::FileIterator;

/// The files in the header of one package, by their paths in its tree.
class PackedFiles {
public:
    PackedFiles(const fs::path &tree, const std::vector<Mapping> &mappings,
                const Common::Rpm::Reader &header) :
        tree_(tree),
        id_(header.tag(Common::Rpm::Tag::Name)),
        record_(header),
        isSignable_(static_cast<std::size_t>(record_.count())),
        files_(isSignable_.size(), [this, &mappings](std::size_t number) {
            return packagePathOf(record_.path(static_cast<int>(number)), mappings).native();
        }) {
        const auto note = [&](const FileIterator::Entry &entry) {
            isSignable_[static_cast<std::size_t>(entry.fileIndex)] = entry.signable;
            return false;
        };
        FileIterator(header).forEach(note, FileIterator::Names::All, FileIterator::Unexpected::Silent);
    }

    std::size_t count() const { return isSignable_.size(); }

    /// Fills in all but a file's digest. Returns the digest that the header has for the file, or an empty
    /// text.
    std::string describe(ContentsEntry &entry, const IsAsPacked &isAsPacked) const {
        const auto found = files_.find(entry.path);
        if (!found)
            return {};
        const int index = static_cast<int>(*found);
        entry.isConfiguration = record_.isConfiguration(index);
        if (entry.type != ContentsEntry::Type::File)
            return {};
        // For hard links, the name with the content decides for all.
        entry.isSignable =
            isSignable_[*found] && (!record_.hasSeveralNames(index) || carriesId(tree_ / entry.path, id_));
        entry.isChanged = record_.isGhost(index) || entry.size != record_.size(index) ||
                          !isAsPacked(record_.path(index), record_.size(index), record_.modified(index));
        return record_.sha256(index).value_or("");
    }

private:
    fs::path tree_;
    std::string id_;
    Common::Rpm::InstalledFiles record_;
    std::vector<bool> isSignable_;
    Common::TextIndex files_;
};

/// An unreadable file was damaged before: it is taken over as it is.
void hash(ContentsEntry &entry, int tree, const fs::path &name) {
    constexpr std::size_t digestLength = 64;
    try {
        std::string digest = Common::Rpm::sha256Beneath(tree, entry.path, name);
        // Only the time differed, as after a restore of the same file.
        entry.isChanged = entry.isChanged && digest != entry.digest;
        entry.isHashed = true;
        entry.digest = std::move(digest);
    } catch (const Common::Error &error) {
        if (Common::systemErrorOf(error) != EIO)
            throw;
        Common::LogStream(Common::LogLevel::Warning) << error;
        entry.isChanged = true;
        if (entry.digest.empty())
            entry.digest.assign(digestLength, '0');
    }
}

} // namespace

void listStagedContents(const fs::path &tree, const std::vector<Mapping> &mappings,
                        const Common::Rpm::Reader &header, const IsAsPacked &isAsPacked) {
    Common::removeAll(tree / StoreName::contentsList);
    const PackedFiles packed(tree, mappings, header);
    const Common::FileDescriptor directory(::open(tree.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    ContentsText list(packed.count());
    forEachOfTree(tree, [&](ContentsEntry &entry, int, const std::string &) {
        entry.digest = packed.describe(entry, isAsPacked);
        if (entry.type == ContentsEntry::Type::File && (entry.isChanged || entry.digest.empty()))
            hash(entry, directory.get(), tree / entry.path);
        list.add(entry);
    });
    Common::replaceFile(tree / StoreName::contentsList, list.finish(), Common::Durability::Deferred);
}

} // namespace Core::KELP
