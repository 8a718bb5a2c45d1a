#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// What the records know of packages, whatever the store holds of them: the registry, the bindings to
/// sources, the journal of the take-over, and the note of an installation under way. Read once, at the first
/// question, which raises as the views of these do; bindings in a database that is damaged count as none.
class RecordedPackages {
public:
    explicit RecordedPackages(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// Whether any of them names the package, its removal included.
    bool knows(const std::string &id) const;

    /// Whether one says that it is, or is about to be, installed.
    bool isInstalled(const std::string &id) const;

    /// The versions that journal or note name: whatever is in their directories is the package's own.
    std::set<std::string> underWay(const std::string &id) const;

    /// The keys that the registry has ever had for the package.
    std::set<std::string> keysOf(const std::string &id) const;

private:
    struct Record {
        bool isInstalled = false;
        std::set<std::string> underWay;
        std::set<std::string> keys;
    };

    const Record *find(const std::string &id) const;
    std::map<std::string, Record> read() const;

    const IConfiguration *configuration_;
    mutable std::optional<std::map<std::string, Record>> records_;
};

} // namespace Core::KELP
