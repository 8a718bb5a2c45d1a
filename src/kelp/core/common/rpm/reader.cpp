#include "kelp/core/common/rpm/reader.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/tag-data.h"

#include <fcntl.h>
#include <rpm/header.h>
#include <rpm/rpmds.h>
#include <rpm/rpmfiles.h>
#include <rpm/rpmio.h>
#include <rpm/rpmlib.h>
#include <rpm/rpmtd.h>
#include <rpm/rpmts.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Common::Rpm {

namespace {

using namespace std::string_view_literals;

constexpr auto leadMagic = "\xed\xab\xee\xdb"sv;
constexpr off_t sizeOfLead = 96;
constexpr std::size_t sizeOfIntro = 16; ///< Of a header: magic, number of entries, size of the data.

off_t offsetAt(const std::array<char, sizeOfIntro> &bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

/// Where the header that begins at `start` ends; nothing when its beginning is not there.
std::optional<off_t> endOfHeader(int file, off_t start) {
    std::array<char, sizeOfIntro> intro{};
    if (::pread(file, intro.data(), intro.size(), start) != std::ssize(intro))
        return std::nullopt;
    return start + static_cast<off_t>(sizeOfIntro) + 16 * offsetAt(intro, 8) + offsetAt(intro, 12);
}

/// Signatures, filled up to a multiple of eight, and the header after them.
std::optional<off_t> endOfHeaders(int file) {
    const auto signatures = endOfHeader(file, sizeOfLead);
    return signatures ? endOfHeader(file, (*signatures + 7) / 8 * 8) : std::nullopt;
}

/// Why librpm refuses an open package file, for people: another kind of file, cut short, or a damaged header.
/// Says nothing about the payload.
std::string packageDefect(int file) {
    std::array<char, leadMagic.size()> magic{};
    if (::pread(file, magic.data(), magic.size(), 0) != std::ssize(magic) ||
        std::string_view(magic.data(), magic.size()) != leadMagic)
        return "it is no rpm package";
    struct stat status {};
    const auto end = endOfHeaders(file);
    if (::fstat(file, &status) != 0 || !end || *end > status.st_size)
        return "it is cut short";
    return "its header is damaged";
}

[[noreturn]] void refuse(const std::string &reason) {
    throw Error(ErrorCode::BadPackageFileFormat, "Couldn't read rpm package").because(reason);
}

/// librpm's own open would wait for the writer of a pipe.
FileDescriptor openRegular(const std::filesystem::path &package) {
    FileDescriptor found(::open(package.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (found.get() < 0 || ::fstat(found.get(), &status) != 0)
        throw Error(ErrorCode::FileNotFound, "Couldn't open rpm package", errno);
    if (!S_ISREG(status.st_mode))
        refuse(S_ISDIR(status.st_mode) ? "it is a directory" : "it is no regular file");
    return found;
}

std::shared_ptr<_FD_s> open(const FileDescriptor &found) {
    FD_t file = Fopen(("/proc/self/fd/" + std::to_string(found.get())).c_str(), "r.ufdio");
    if (!file)
        throw Error(ErrorCode::FileNotFound, "Couldn't open rpm package", errno);
    return {file, Fclose};
}

std::string reasonOf(rpmRC result, FD_t file) {
    if (result == RPMRC_NOKEY || result == RPMRC_NOTTRUSTED)
        return "its signature is not trusted";
    return packageDefect(Fileno(file));
}

std::shared_ptr<headerToken_s> readHeader(FD_t file, const std::filesystem::path &package,
                                          Signatures signatures) {
    const std::unique_ptr<rpmts_s, decltype(&rpmtsFree)> transactionSet(rpmtsCreate(), rpmtsFree);
    // Without the root prefix: keys and policy are those of the rpm that runs here.
    rpmtsSetRootDir(transactionSet.get(), nullptr);
    if (signatures == Signatures::Unchecked)
        rpmtsSetVSFlags(transactionSet.get(), RPMVSF_MASK_NOSIGNATURES);
    else if (signatures == Signatures::NorDigests)
        rpmtsSetVSFlags(transactionSet.get(), RPMVSF_MASK_NOSIGNATURES | RPMVSF_MASK_NODIGESTS);

    Header header = nullptr;
    const rpmRC result = rpmReadPackageFile(transactionSet.get(), file, package.c_str(), &header);
    // Even a package that the policy refuses has a header.
    std::shared_ptr<headerToken_s> owner(header, headerFree);
    if (result != RPMRC_OK)
        refuse(reasonOf(result, file));
    // The files of a source package belong to no place of a system.
    if (headerIsEntry(header, RPMTAG_SOURCEPACKAGE) != 0)
        refuse("it is a source package");
    return owner;
}

/// Takes the name out of "R name >= 1-2", librpm's rendering of a dependency.
std::optional<std::string> dependencyName(const char *rendering) {
    if (!rendering)
        return std::nullopt;
    std::istringstream words(rendering);
    std::string type;
    std::string name;
    words >> type >> name;
    if (words.fail())
        return std::nullopt;
    return name;
}

} // namespace

Reader::Reader(const std::filesystem::path &package, Signatures signatures) {
    initialise();
    // Kept open while librpm reads: its messages name the file by the descriptor.
    const FileDescriptor found = openRegular(package);
    file_ = open(found);
    header_ = readHeader(file_.get(), package, signatures);
}

Reader::Reader(headerToken_s *header) : header_(header, [](headerToken_s *) {}) {
    initialise();
}

std::string Reader::tag(std::int32_t tag) const {
    const TagData data = makeTagData();
    const bool found = headerGet(header(), tag, data.get(), HEADERGET_EXT) != 0;
    const char *text = found ? rpmtdGetString(data.get()) : nullptr;
    if (!text)
        throw Error(ErrorCode::BadPackageFileFormat,
                    "Couldn't retrieve rpm tag from package (type=" + std::to_string(tag) + ")");
    return text;
}

std::string Reader::tagOr(std::int32_t tag, const std::string &fallback) const {
    try {
        return this->tag(tag);
    } catch (const std::exception &) {
        return fallback;
    }
}

std::string Reader::digest() const {
    unsigned size = 0;
    const std::unique_ptr<void, decltype(&std::free)> bytes(headerExport(header(), &size), std::free);
    if (!bytes)
        throw std::bad_alloc();
    Digest digest;
    digest.update({static_cast<const char *>(bytes.get()), size});
    return digest.finish();
}

namespace {

/// Whether the paths together are not far longer than the header, as in sound packages. The header has each
/// directory once: a long directory shared by many files could expand to a gigabyte of paths.
bool hasBearablePaths(rpmfiles files, std::size_t headerSize) {
    std::vector<std::size_t> directories;
    for (int i = 0, count = static_cast<int>(rpmfilesDC(files)); i < count; ++i) {
        const char *name = rpmfilesDN(files, i);
        directories.push_back(name != nullptr ? std::strlen(name) : 0);
    }
    std::size_t left = (std::size_t(1) << 20) + 4 * headerSize;
    for (int i = 0, count = static_cast<int>(rpmfilesFC(files)); i < count; ++i) {
        const auto directory = static_cast<std::size_t>(rpmfilesDI(files, i));
        const std::size_t size = directory < directories.size() ? directories[directory] : 0;
        if (size > left)
            return false;
        left -= size;
    }
    return true;
}

} // namespace

std::shared_ptr<rpmfiles_s> Reader::fileList() const {
    // The list keeps the header alive, which a walk over the database drops at its next step.
    if (!fileList_)
        fileList_ = {rpmfilesNew(nullptr, header(), 0, RPMFI_KEEPHEADER), rpmfilesFree};
    if (!fileList_)
        refuse("its file list contradicts itself");
    if (!hasBearablePaths(fileList_.get(), headerSizeof(header(), HEADER_MAGIC_NO)))
        refuse("its paths are too long together");
    return fileList_;
}

std::uint64_t Reader::contentSize() const {
    const auto files = fileList();
    std::uint64_t sum = 0;
    for (int i = 0, count = static_cast<int>(rpmfilesFC(files.get())); i < count; ++i) {
        const int *names = nullptr;
        const bool isFirstName = rpmfilesFLinks(files.get(), i, &names) < 2 || names[0] == i;
        if (!S_ISREG(rpmfilesFMode(files.get(), i)) || !isFirstName ||
            (rpmfilesFFlags(files.get(), i) & RPMFILE_GHOST) != 0)
            continue;
        const std::uint64_t size = rpmfilesFSize(files.get(), i);
        sum = size > std::numeric_limits<std::uint64_t>::max() - sum
                  ? std::numeric_limits<std::uint64_t>::max()
                  : sum + size;
    }
    return sum;
}

std::vector<std::string> Reader::dependencies(std::int32_t tag) const {
    const std::unique_ptr<rpmds_s, decltype(&rpmdsFree)> set(rpmdsNew(header(), tag, 0), rpmdsFree);
    std::vector<std::string> names;
    while (rpmdsNext(set.get()) >= 0)
        if (std::optional<std::string> name = dependencyName(rpmdsDNEVR(set.get())))
            names.push_back(std::move(*name));
    return names;
}

} // namespace Common::Rpm
