#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <string_view>

namespace Validator {

/// Checks the bytes of the application's desktop file: its readers differ on control characters and on
/// unusual spellings of file types.
class DesktopHardening final : public ValidatorBase<IValidator> {
public:
    DesktopHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                     std::shared_ptr<Logger> logger);

    /// One finding for all control characters of a file, and one for each bad text or file type. A missing
    /// file, or one that would overload a reader, has none. Raises as readDesktopText() does.
    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &path, const std::string &realPath) override;
    void finish() override {}

private:
    void checkLine(std::string_view line);
    void checkValue(std::string_view key, std::string_view value);

    bool hasReported_ = false;
};

/// The effect of a text on the direction in which it, and the text after it, is read.
enum class Direction : std::uint32_t {
    Plain,    ///< Nothing, beyond what its letters do.
    Restored, ///< It embeds, overrides or isolates, and ends all of that, except maybe embeddings.
    Turned,   ///< It leaves an override or an isolate open, or ends one that it has not begun.
};

Direction directionOf(std::string_view text);

} // namespace Validator
