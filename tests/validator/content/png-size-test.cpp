#include "kelp/core/kelp/validator/data/icon.h"

#include "kelp/core/common/errors/error.h"
#include "png-image.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <glib.h>
#include <sys/resource.h>

#include <memory>

using namespace Validator;
using Common::ErrorCode;

namespace {

class PngSizeTest : public testing::Test {
protected:
    std::filesystem::path file(const std::string &bytes) {
        writeFile(directory_.path() / "icon.png", bytes);
        return directory_.path() / "icon.png";
    }

    TemporaryDirectory directory_;
};

long peakMemoryMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss >> 10;
}

TEST_F(PngSizeTest, ReadsTheDimensionsInFrontOfTheImage) {
    const std::string header = pngSignature() + pngHeader(86, 108);
    const std::string data = pngChunk("IDAT", "no image at all");
    const std::pair<const char *, std::string> cases[] = {
        {"an image cut short", pngImage(86, 108).substr(0, 45)},
        {"chunks in front", header + pngChunk("tEXt", "Title\0x") + pngChunk("prIv", "?") + data},
        {"a damaged comment", header + pngChunk("zTXt", "not deflated") + data},
    };
    for (const auto &[what, bytes] : cases) {
        const PngSize size = readPngSize(file(bytes));
        EXPECT_EQ(size.width, 86u) << what;
        EXPECT_EQ(size.height, 108u) << what;
    }
}

TEST_F(PngSizeTest, RefusesWhatIsNoPng) {
    const std::string sound = pngImage(86, 86);
    const std::string signature = pngSignature();
    const std::pair<std::string, std::string> cases[] = {
        {sound.substr(0, 20), "unexpected end of file"},
        {signature + pngHeader(0x7fffffff, 0x7fffffff) + pngChunk("IDAT", ""), "Invalid IHDR data"},
        {signature + pngHeader(86, 86) + std::string("\x7f\xff\xff\xfftEXt", 8), "unexpected end of file"},
        {signature + pngChunk("IDAT", ""), "IDAT: Missing IHDR before IDAT"},
        {std::string(sound).replace(20, 1, "\1"), "IHDR: CRC error"},
    };
    for (const auto &[bytes, reason] : cases)
        EXPECT_THAT([&] { readPngSize(file(bytes)); },
                    raises(ErrorCode::Internal, "Failed to read PNG icon: " + reason));
    EXPECT_THAT([&] { readPngSize(directory_.path()); },
                raises(ErrorCode::Internal, "Failed to read PNG icon: it is no regular file"));
}

/// Nine hundred comments of eight megabytes each, in as many kilobytes.
TEST_F(PngSizeTest, InflatesNothing) {
    const std::string comment =
        pngChunk("zTXt", std::string("Comment\0\0", 9) + deflated(std::string(7'900'000, ' ')));
    std::string bytes = pngSignature() + pngHeader(86, 86);
    for (int i = 0; i < 900; ++i)
        bytes += comment;
    const auto path = file(bytes + pngChunk("IDAT", ""));
    const long before = peakMemoryMegabytes();
    EXPECT_EQ(readPngSize(path).width, 86u);
    EXPECT_LT(peakMemoryMegabytes(), before + 64);
}

TEST_F(PngSizeTest, ReadsDataUrls) {
    const std::string image = pngImage(3, 2), prefix = "data:image/png;base64,";
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_base64_encode(reinterpret_cast<const guchar *>(image.data()), image.size()), g_free);
    EXPECT_EQ(readPngSizeFromDataUrl(prefix + text.get()).height, 2u);
    for (const auto &[url, message] :
         {std::pair("DATA:image/png;base64,", "The icon has an unsupported format"),
          {"data:image/png;base64,aGVsbG8gd29ybGQ=", "Failed to read PNG icon from base64: Not a PNG file"}})
        EXPECT_THAT([&] { readPngSizeFromDataUrl(url); }, raises(ErrorCode::InvalidArguments, message));
}

} // namespace
