#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <unordered_set>

namespace Validator {

/// Checks that a package ships its icon in every size that the profile requires, and that each has the
/// dimensions in its path. A profile that requires no icon switches the check off.
class Icon final : public ValidatorBase<IValidator> {
public:
    Icon(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// A file other than a PNG counts as one of the wrong size. Raises as MappedFile::open() does.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True once for each icon that is expected.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    /// Reports each expected icon that was in none of the files.
    void finish() override;

private:
    std::string expectedPath(std::int32_t size) const;

    std::unordered_set<std::string> missing_; ///< The expected icons that have not been seen yet.
};

/// The dimensions of an image, in pixels.
struct PngSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

// Both functions read a PNG (RFC 2083) up to the beginning of its image data and decompress nothing. So
// neither the claimed dimensions nor a compressed profile or comment costs memory. The header and the lengths
// of the chunks before the image data must be right; the image data is not read.

/// The dimensions of the PNG file at `path`. Raises ErrorCode::Internal, "Failed to read PNG icon: " and the
/// reason, for a file that is no PNG, and as MappedFile::open() does for one that cannot be read.
PngSize readPngSize(const std::filesystem::path &path);

/// The dimensions of a PNG given as a data URL (RFC 2397). Raises ErrorCode::InvalidArguments: "The icon has
/// an unsupported format" when the text does not begin with "data:image/png;base64,", and "Failed to read PNG
/// icon from base64: REASON" when the rest is no PNG.
PngSize readPngSizeFromDataUrl(std::string_view url);

} // namespace Validator
