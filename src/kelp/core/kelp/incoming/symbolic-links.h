#pragma once

#include "kelp/core/kelp/incoming/link-targets.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Core::KELP {

class StagingDirectory;

/// The symbolic links of a package that is unpacked, which are judged when all of it is there: each as if
/// what it leads to were itself in the link's place, so that a link brings in nothing that a copy could not.
class SymbolicLinks {
public:
    /// Judges what lies at `real`, a path of the tree, as the file `name` of the system.
    using Judge = std::function<void(const std::string &name, const std::filesystem::path &real)>;
    /// Refuses the link `name`.
    using Refuse = std::function<void(Validator::ContentRule reason, const std::string &name)>;

    /// `versionDirectory` is where links lead that are meant within the package.
    SymbolicLinks(const StagingDirectory &staging, std::filesystem::path versionDirectory);

    /// Remembers a link that lies at `path` of the tree, the system's `name`.
    void add(std::string name, std::filesystem::path path);

    /// Judges all of them, and everything below the directories to which they lead under the name that it
    /// has by the link. Links that lead to nothing in the package are refused, and so is what leads to more
    /// names, or deeper, than could be looked at in a bearable time.
    void judge(const Judge &judge, const Refuse &refuse) const;

private:
    struct Link {
        std::string name;
        std::filesystem::path path;
    };
    struct Visit;

    std::optional<TreePlace> follow(const std::filesystem::path &path) const;
    void judgeBelow(const std::string &name, const std::filesystem::path &directory, Visit &visit) const;
    void judgeChild(const std::string &name, const std::filesystem::path &path, Visit &visit) const;

    const StagingDirectory &staging_;
    std::filesystem::path versionDirectory_;
    std::vector<Link> links_;
};

} // namespace Core::KELP
