#include "kelp/core/common/rpm/package-defect.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

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

} // namespace

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

} // namespace Common::Rpm
