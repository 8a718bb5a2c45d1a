#include "kelp/core/kelp/validator/data/icon.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <glib.h>
#include <png.h>

#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace Validator {

namespace {

/// A file that is no PNG has no size: makers get the one finding that they can mend.
bool hasSize(const std::string &file, std::int32_t size) {
    try {
        const PngSize actual = readPngSize(file);
        return std::cmp_equal(actual.width, size) && std::cmp_equal(actual.height, size);
    } catch (const Common::Error &error) {
        if (error.code() != Common::ErrorCategory::make(Common::ErrorCode::Internal))
            throw; // It may be a PNG.
        return false;
    }
}

} // namespace

Icon::Icon(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {
    if (!config_->isIconRequired({}))
        return;
    for (const std::int32_t size : config_->iconSizes())
        missing_.insert(expectedPath(size));
}

std::string Icon::expectedPath(std::int32_t size) const {
    const std::string side = std::to_string(size);
    return config_->iconsDir() + side + 'x' + side + "/apps/" + meta_->name() + ".png";
}

/// Removed here in any case: an icon of the wrong size is not missing as well.
bool Icon::canValidate(const std::string &path, const std::string &) {
    return config_->isIconRequired(path) && missing_.erase(path) > 0;
}

void Icon::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    for (const std::int32_t size : config_->iconSizes()) {
        // A link is judged by the image that it leads to: then real file and path differ.
        if (path_ == expectedPath(size) && !hasSize(realPath_, size))
            logger_->log(IconRule::WrongOrMissing, {path_});
    }
}

void Icon::finish() {
    for (const std::string &path : missing_)
        logger_->log(IconRule::WrongOrMissing, {path});
}

namespace {

using Common::ErrorCode;

constexpr std::string_view dataUrlPrefix = "data:image/png;base64,";

/// State for libpng's callbacks. Has no destructor: failures leave libpng by a long jump.
struct Source {
    std::string_view rest;
    Passage passage;
    std::array<char, 128> reason{};
};

/// libpng asks for as many bytes as the file claims to have.
void readBytes(png_structp png, png_bytep target, std::size_t size) {
    auto &source = *static_cast<Source *>(png_get_io_ptr(png));
    if (size > source.rest.size())
        png_error(png, "unexpected end of file");
    std::memcpy(target, source.rest.data(), size);
    source.passage.passed(size);
    source.rest.remove_prefix(size);
}

[[noreturn]] void keepReason(png_structp png, png_const_charp reason) {
    auto &source = *static_cast<Source *>(png_get_error_ptr(png));
    // Copied: the text may lie in a frame that the jump leaves. The last byte stays zero.
    std::strncpy(source.reason.data(), reason, source.reason.size() - 1);
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

/// A separate function without objects that have destructors: the jump back would skip them.
bool readInfo(png_structp png, png_infop info) {
    if (setjmp(png_jmpbuf(png)) != 0)
        return false;
    // Skips compressed texts and profiles unread: libpng would inflate up to a thousand before the image, to
    // eight megabytes each. An image library on top of libpng does not allow that.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_read_info(png, info);
    return true;
}

/// Throws the reason when the bytes are no PNG. Not by Boost.GIL's reader, which lets libpng decode
/// everything before the image: a hostile icon of 308 kB cost it 320 MiB and 2.4 s.
PngSize sizeOf(std::string_view bytes, Passage passage) {
    Source source{bytes, passage};
    const std::shared_ptr<png_struct> png(
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &source, keepReason, ignoreWarning),
        [](png_structp object) { png_destroy_read_struct(&object, nullptr, nullptr); });
    if (!png)
        throw std::bad_alloc();
    // Holds the reader as well: libpng needs it for the release.
    const std::shared_ptr<png_info> info(png_create_info_struct(png.get()), [png](png_infop object) {
        png_destroy_info_struct(png.get(), &object);
    });
    if (!info)
        throw std::bad_alloc();
    png_set_read_fn(png.get(), &source, readBytes);
    errno = 0;
    if (!readInfo(png.get(), info.get())) {
        if (errno == ENOMEM)
            throw std::bad_alloc();
        throw std::runtime_error(source.reason.data());
    }
    return {png_get_image_width(png.get(), info.get()), png_get_image_height(png.get(), info.get())};
}

PngSize sizeOfBase64(const std::string &text) {
    gsize size = 0;
    // GLib skips invalid Base64 and never fails: libpng judges the result.
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(text.c_str(), &size), g_free);
    return sizeOf({reinterpret_cast<const char *>(bytes.get()), size}, Passage());
}

} // namespace

PngSize readPngSize(const std::filesystem::path &path) {
    const auto file = MappedFile::open(path);
    try {
        if (!file)
            throw std::runtime_error("it is no regular file");
        return sizeOf(file->bytes(), Passage(*file));
    } catch (const std::bad_alloc &) {
        throw;
    } catch (const std::exception &error) {
        throw Common::Error(ErrorCode::Internal, std::string("Failed to read PNG icon: ") + error.what());
    }
}

PngSize readPngSizeFromDataUrl(std::string_view url) {
    if (!url.starts_with(dataUrlPrefix))
        throw Common::Error(ErrorCode::InvalidArguments, "The icon has an unsupported format");
    try {
        return sizeOfBase64(std::string(url.substr(dataUrlPrefix.size())));
    } catch (const std::exception &error) {
        throw Common::Error(ErrorCode::InvalidArguments,
                            std::string("Failed to read PNG icon from base64: ") + error.what());
    }
}

} // namespace Validator
