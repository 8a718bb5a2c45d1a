#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <map>

namespace Validator {

class MappedFile;

/// Checks for every file of a package that it lies where the package may install, and that it does not hold
/// the path of the default user's home, which is another one on other devices.
class Path final : public ValidatorBase<IValidator> {
public:
    Path(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Directories have no content to object to. Raises as MappedFile::open() does.
    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &, const std::string &) override { return true; }
    void finish() override {}

private:
    void checkLocation() const;
    void checkContent();
    bool holdsHardcodedPath(const MappedFile &file);

    std::map<Common::FileIdentity, bool> isHardcodedIn_; ///< Large files that were searched.
};

} // namespace Validator
