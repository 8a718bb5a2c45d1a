#include "kelp/core/kelp/validator/data/icon.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/data/png-size.h"

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

} // namespace Validator
