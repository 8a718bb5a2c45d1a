#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages that the records name, in the store or not. The records are the registry, the bindings to
/// sources, the journal of the take-over, and the note of an installation under way. They are read at the
/// first question, which raises as their readers do. A damaged database of sources counts as one without
/// bindings.
class RecordedPackages {
public:
    explicit RecordedPackages(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// Whether any of them names the package, its removal included.
    bool knows(const std::string &id) const;

    /// Whether a record says that it is installed, or about to be.
    bool isInstalled(const std::string &id) const;

    /// The versions that the journal or the note names: all in their directories is the package's own.
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
