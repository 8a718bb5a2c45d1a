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

/// Checks what kernel and loader would make of a package's ELF files, where the checker of programs reads
/// sections, which neither of them looks at; and which libraries the other files need beside the main binary.
///
/// A file with several names is read under the first one alone; what depends on the place is judged for each.
class ElfHardening final : public ValidatorBase<IValidator> {
public:
    ElfHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                 std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &, const std::string &) override { return true; }
    /// Whether the libraries on which files rely are some.
    void finish() override;

private:
    /// What is known of a file, whatever its name.
    struct Knowledge {
        ElfMachine machine = {};
        bool isRunnable = false;
        std::optional<std::string> foreignLoader = {};
        std::optional<std::string> hidden = {}; ///< What the sections do not show.
        bool hasHook = false;
        std::optional<std::string> filter = {};      ///< Of DT_AUXILIARY, a library that nobody knows.
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
    std::set<std::string> libraries_;       ///< The paths of ELF files where libraries are.
    std::set<std::string> neededLibraries_; ///< The names of those that the package ships and needs.
};

} // namespace Validator
