#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/hardening/machines.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace Validator {

struct LoaderTable;
class MappedFile;

/// Checks a package's ELF files as the kernel and the loader see them, by their program headers. The checker
/// of programs (Executable) reads sections, which the kernel and the loader ignore. This one also checks the
/// libraries that a file other than the main binary needs, since Executable checks only the main binary's.
///
/// A hard-linked file is read once, and its libraries and rpaths are judged under its first name. Its place
/// is judged for each name.
class ElfHardening final : public ValidatorBase<IValidator> {
public:
    ElfHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                 std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &, const std::string &) override { return true; }
    /// Reports needed packaged libraries that are no libraries.
    void finish() override;

private:
    /// The facts of a file, for all its names.
    struct Knowledge {
        ElfMachine machine = {};
        bool isRunnable = false;
        std::optional<std::string> foreignLoader = {};
        std::optional<std::string> hidden = {}; ///< A library that the sections do not show, or a reason.
        bool hasHook = false;
        std::optional<std::string> filter = {};      ///< Of DT_AUXILIARY, an unknown library.
        std::optional<std::string> otherFilter = {}; ///< Of DT_AUXILIARY, anything else.
    };

    using Libraries = std::set<std::string, std::less<>>;

    Knowledge examine(const MappedFile &file);
    void examineTable(const LoaderTable &table, Knowledge &knowledge);
    std::optional<std::string> hiddenLibrary(Libraries unknown) const;
    void reportLibraries(const LoaderTable &table, const Libraries &unknown);
    void reportRpaths(const LoaderTable &table);
    void judgePlace(const Knowledge &knowledge) const;
    void judgeProgram(const Knowledge &knowledge) const;
    void judgeTable(const Knowledge &knowledge) const;
    bool isProgramPlace() const;
    bool isLibraryPlace() const;
    std::vector<std::string> placesOf(const std::string &library) const;
    bool isShipped(const std::string &library) const;
    bool isKnown(const std::string &library) const;

    std::map<Common::FileIdentity, Knowledge> knowledge_;
    std::set<std::string> libraries_;       ///< The paths of ELF files at places of libraries.
    std::set<std::string> neededLibraries_; ///< The names of packaged libraries that are needed.
};

} // namespace Validator
