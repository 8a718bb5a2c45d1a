#include "rpm-writer.h"

#include "support/text-file.h"

#include <rpm/header.h>
#include <rpm/rpmcrypto.h>
#include <rpm/rpmtag.h>
#include <rpm/rpmtd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

using HeaderOwner = std::unique_ptr<headerToken_s, decltype(&headerFree)>;

constexpr int blobMagicSize = 8;
constexpr int leadNameSize = 66;

/// All names of a file have its size; the last has the content.
std::uint32_t contentSize(const std::vector<WrittenFile> &files, const WrittenFile &file) {
    std::size_t size = file.content.size();
    if (file.inode == 0)
        return static_cast<std::uint32_t>(size);
    for (const WrittenFile &other : files)
        if (other.inode == file.inode)
            size = std::max(size, other.content.size());
    return static_cast<std::uint32_t>(size);
}

void appendFiles(Header header, const std::vector<WrittenFile> &files) {
    std::uint32_t index = 0;
    const std::uint32_t sha256 = RPM_HASH_SHA256;
    headerPutUint32(header, RPMTAG_FILEDIGESTALGO, &sha256, 1);
    for (const WrittenFile &file : files) {
        headerPutString(header, RPMTAG_BASENAMES, file.name.c_str());
        headerPutString(header, RPMTAG_DIRNAMES, file.directory.c_str());
        const std::uint32_t size = contentSize(files, file) + static_cast<std::uint32_t>(file.missingBytes);
        const std::uint32_t inode = file.inode != 0 ? file.inode : index + 1000;
        const std::uint32_t none = 0;
        const std::uint32_t device = 1;
        headerPutUint32(header, RPMTAG_DIRINDEXES, &index, 1);
        headerPutUint32(header, RPMTAG_FILESIZES, &size, 1);
        headerPutUint16(header, RPMTAG_FILEMODES, &file.mode, 1);
        headerPutUint32(header, RPMTAG_FILEINODES, &inode, 1);
        headerPutUint32(header, RPMTAG_FILEDEVICES, &device, 1);
        headerPutUint32(header, RPMTAG_FILEFLAGS, &none, 1);
        headerPutUint32(header, RPMTAG_FILEMTIMES, &none, 1);
        headerPutString(header, RPMTAG_FILELINKTOS,
                        (file.mode & 0170000) == 0120000 ? file.content.c_str() : "");
        headerPutString(header, RPMTAG_FILEUSERNAME, file.owner.c_str());
        headerPutString(header, RPMTAG_FILEGROUPNAME, file.owner.c_str());
        headerPutString(header, RPMTAG_FILECAPS, file.capabilities.c_str());
        headerPutString(header, RPMTAG_FILEDIGESTS, file.digest.c_str());
        ++index;
    }
}

/// The header as it stands in a package file. Takes the header over.
std::string blobOf(Header header, rpmTagVal region) {
    const HeaderOwner owner(headerReload(header, region), headerFree);
    unsigned size = 0;
    const std::unique_ptr<void, decltype(&std::free)> blob(headerExport(owner.get(), &size), std::free);
    return std::string("\x8e\xad\xe8\1\0\0\0\0", blobMagicSize) +
           std::string(static_cast<const char *>(blob.get()), size);
}

/// librpm would put no list where it knows of none.
void putList(Header header, std::int32_t tag, const std::vector<std::string> &texts) {
    std::vector<const char *> pointers;
    pointers.reserve(texts.size());
    for (const std::string &text : texts)
        pointers.push_back(text.c_str());
    rpmtd_s data{};
    data.tag = tag;
    data.type = RPM_STRING_ARRAY_TYPE;
    data.data = pointers.data();
    data.count = static_cast<rpm_count_t>(texts.size());
    headerPut(header, &data, HEADERPUT_DEFAULT);
}

std::string mainHeader(const RpmWriter &package) {
    Header header = headerNew();
    headerPutString(header, RPMTAG_NAME, package.id.c_str());
    headerPutString(header, RPMTAG_VERSION, package.version.c_str());
    headerPutString(header, RPMTAG_RELEASE, "1");
    headerPutString(header, RPMTAG_ARCH, package.architecture.c_str());
    headerPutString(header, RPMTAG_OS, "linux");
    headerPutString(header, RPMTAG_PAYLOADFORMAT, "cpio");
    headerPutString(header, RPMTAG_PAYLOADCOMPRESSOR, "ufdio");
    appendFiles(header, package.files);
    for (const auto &[tag, texts] : package.lists)
        putList(header, tag, texts);
    return blobOf(header, RPMTAG_HEADERIMMUTABLE);
}

std::string sha256(const std::string &text) {
    DIGEST_CTX context = rpmDigestInit(RPM_HASH_SHA256, RPMDIGEST_NONE);
    rpmDigestUpdate(context, text.data(), text.size());
    void *digest = nullptr;
    rpmDigestFinal(context, &digest, nullptr, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(digest, std::free);
    return static_cast<const char *>(digest);
}

std::string padded(std::string text, std::size_t alignment) {
    text.resize((text.size() + alignment - 1) / alignment * alignment);
    return text;
}

std::string signatureHeader(const std::string &header, bool isSigned) {
    Header signature = headerNew();
    headerPutString(signature, RPMSIGTAG_SHA256, sha256(header).c_str());
    const std::uint8_t unknown[64] = {0x88};
    if (isSigned)
        headerPutBin(signature, RPMSIGTAG_RSA, unknown, sizeof unknown);
    return padded(blobOf(signature, RPMTAG_HEADERSIGNATURES), 8);
}

std::string archiveEntry(const std::string &name, unsigned mode, unsigned inode, const std::string &content) {
    char fields[111];
    std::snprintf(fields, sizeof fields, "070701%08x%08x%08x%08x%08x%08x%08zx%08x%08x%08x%08x%08zx%08x",
                  inode, mode, 0U, 0U, 1U, 0U, content.size(), 0U, 1U, 0U, 0U, name.size() + 1, 0U);
    return padded(padded(fields + name + '\0', 4) + content, 4);
}

std::string archiveOf(const std::vector<WrittenFile> &files) {
    std::string archive;
    unsigned index = 1000;
    for (const WrittenFile &file : files) {
        const std::string name = "." + file.directory + file.name;
        archive += archiveEntry(name, file.mode, file.inode != 0 ? file.inode : index, file.content);
        ++index;
    }
    return archive + archiveEntry("TRAILER!!!", 0, 0, "");
}

std::string leadOf() {
    std::string lead("\xed\xab\xee\xdb\3\0\0\0\0\1", 10);
    lead.resize(lead.size() + leadNameSize);
    lead += std::string("\0\1\0\5", 4);
    return padded(lead, 96);
}

} // namespace

void RpmWriter::write(const std::filesystem::path &path) const {
    const std::string header = mainHeader(*this);
    writeFile(path, leadOf() + signatureHeader(header, isSigned) + header +
                        archiveOf(payload.empty() ? files : payload));
}
