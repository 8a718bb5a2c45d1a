#pragma once

#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Core::KELP {

class StagingDirectory;

/// The symbolic links of a package, judged when all of it is unpacked. Each is judged as if its target lay in
/// the link's place, so a link brings in nothing that a copy could not.
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

    /// Judges each link under its name. If a link leads to a directory, also judges all that lies below the
    /// directory, under the names that it has through the link. Refuses a link that leads to nothing in the
    /// package. Refuses a directory, by its name through the link, below which names would nest too deep. The
    /// names that all links bring in have a common limit. The directory that holds the first name beyond the
    /// limit is refused in the same way, and the judging ends.
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
