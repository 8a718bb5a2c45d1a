#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <map>

namespace Validator {

class IElfReader;

/// Checks the programs and libraries of a package: their places, and the imports of compiled-in QML. Of the
/// main binary it also checks the presence, libraries, rpath, and exports for the launcher's booster.
///
/// A file that is not ELF is a finding; an unreadable file is an exception. The time for a file grows with
/// its size, not with the package's. A hard-linked file is read once. Its other names share the verdict on
/// its format, and only their place is judged anew. If one of these is the main binary's, the file is read
/// again: the rules of the main binary hold for that name alone.
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
    /// The result for a file that was read, kept for its further names.
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

    std::shared_ptr<IElfReader> reader_; ///< Of the present file.
    std::map<Common::FileIdentity, Content> contents_;
};

} // namespace Validator
