#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <map>

namespace Validator {

class IElfReader;

/// Checks the programs and libraries of a package: whether the main binary is there and where it belongs,
/// what it links, where it looks for libraries, whether it exports what the launcher's booster calls, and
/// which QML modules are imported by QML that was compiled in.
///
/// A file that is no ELF file is a finding, one that cannot be read is an exception. The time for a file
/// grows with its size and not with the package's. A file with several names is read under the first one
/// alone; what is judged of the others is their place.
class Executable final : public ValidatorBase<IValidator> {
public:
    Executable(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

    /// True for the main binary, and for every regular file that its owner may execute, scripts too.
    /// Raises as statusOf() does.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    /// The rules on the main binary, its symbols and its rpath; none of them for a web application.
    void finish() override;

private:
    /// What the judgement of a further name needs to know of a file that was read already.
    enum class Content { NotValid, Elf };

    Content judgeWhole();
    void judgePlace(Content content) const;
    bool isMainBinary() const;
    void checkLibraries() const;
    void checkRpath() const;
    void checkElfTabs() const;
    void checkLocation() const;
    void scanEmbeddedImports() const;
    void finishMainBinary() const;
    void finishSymbols() const;
    void finishRpath() const;

    std::shared_ptr<IElfReader> reader_; ///< Of the file in hand.
    std::map<Common::FileIdentity, Content> contents_;
};

} // namespace Validator
