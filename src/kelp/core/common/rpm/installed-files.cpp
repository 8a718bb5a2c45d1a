#include "kelp/core/common/rpm/installed-files.h"

#include "kelp/core/common/rpm/current-entry.h"

#include <rpm/rpmcrypto.h>
#include <rpm/rpmfiles.h>

#include <algorithm>
#include <functional>
#include <span>

namespace Common::Rpm {

namespace {

std::string_view textOf(const char *text) {
    return text ? text : "";
}

} // namespace

InstalledFiles::InstalledFiles(const Reader &reader) : files_(reader.fileList()) {}

int InstalledFiles::count() const {
    return static_cast<int>(rpmfilesFC(files_.get()));
}

std::string InstalledFiles::path(int index) const {
    return std::string(directory(directoryOf(index))) + std::string(name(index));
}

std::uint64_t InstalledFiles::size(int index) const {
    return rpmfilesFSize(files_.get(), index);
}

bool InstalledFiles::isDirectory(int index) const {
    return S_ISDIR(rpmfilesFMode(files_.get(), index));
}

bool InstalledFiles::isConfiguration(int index) const {
    return (rpmfilesFFlags(files_.get(), index) & RPMFILE_CONFIG) != 0;
}

bool InstalledFiles::hasSeveralNames(int index) const {
    const int *names = nullptr;
    return rpmfilesFLinks(files_.get(), index, &names) > 1;
}

bool InstalledFiles::isGhost(int index) const {
    return (rpmfilesFFlags(files_.get(), index) & RPMFILE_GHOST) != 0;
}

std::uint32_t InstalledFiles::modified(int index) const {
    return rpmfilesFMtime(files_.get(), index);
}

std::optional<std::string> InstalledFiles::sha256(int index) const {
    constexpr std::string_view digits = "0123456789abcdef";
    int algorithm = 0;
    std::size_t length = 0;
    const unsigned char *bytes = rpmfilesFDigest(files_.get(), index, &algorithm, &length);
    // A file without a digest has one of zeros.
    if (!bytes || algorithm != RPM_HASH_SHA256 || std::all_of(bytes, bytes + length, std::logical_not<>()))
        return std::nullopt;
    std::string text;
    for (const unsigned char byte : std::span(bytes, length))
        (text += digits[byte >> 4]) += digits[byte & 15];
    return text;
}

bool InstalledFiles::isInstalled(int index) const {
    return rpmfilesFState(files_.get(), index) == RPMFILE_STATE_NORMAL;
}

int InstalledFiles::directoryCount() const {
    return static_cast<int>(rpmfilesDC(files_.get()));
}

std::string_view InstalledFiles::directory(int directoryIndex) const {
    return textOf(rpmfilesDN(files_.get(), directoryIndex));
}

int InstalledFiles::directoryOf(int index) const {
    return rpmfilesDI(files_.get(), index);
}

std::string_view InstalledFiles::name(int index) const {
    return textOf(rpmfilesBN(files_.get(), index));
}

} // namespace Common::Rpm
