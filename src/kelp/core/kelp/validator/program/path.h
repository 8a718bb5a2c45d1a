#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <map>

namespace Validator {

class MappedFile;

/// Checks that every file of a package is at an allowed place, and does not hold the path of the default
/// user's home, which differs between devices.
class Path final : public ValidatorBase<IValidator> {
public:
    Path(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Directories have no content to judge. Raises as statusOf() and MappedFile::open() do.
    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &, const std::string &) override { return true; }
    void finish() override {}

private:
    void checkLocation();
    void checkContent();
    bool holdsHardcodedPath(const MappedFile &file);

    std::map<Common::FileIdentity, bool> isHardcodedIn_; ///< Large files that were searched.
    std::map<Common::FileIdentity, bool> areElf_;        ///< Files at places of programs.
};

} // namespace Validator
