#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

typedef struct _GKeyFile GKeyFile;

namespace AppManifest {

/// A desktop file (the format of freedesktop.org, as GLib's GKeyFile reads it) with the sandbox section of an
/// application. Copies share the parsed file.
class ManifestEntry {
public:
    /// Empty when the file cannot be read, when it does not parse, or when it holds no group "Desktop Entry".
    static std::optional<ManifestEntry> fromFilename(const std::string &path);

    /// Group names, in file order.
    std::vector<std::string> groups() const;
    bool containsGroup(const std::string &group) const;
    bool contains(const std::string &group, const std::string &key) const;
    /// The key names of a group, each once, in file order; translated ones with their "[language]". None for
    /// an unknown group.
    std::vector<std::string> groupKeys(const std::string &group) const;

    /// The text with its escapes resolved. Empty when the key is absent, or when the text is not UTF-8 or has
    /// a bad escape.
    std::string value(const std::string &group, const std::string &key) const;
    /// The same of the group "Desktop Entry".
    std::string value(const std::string &key) const;
    /// The text split at ";"; one at the end adds no element. Empty as value() is.
    std::vector<std::string> stringVectorValue(const std::string &group, const std::string &key) const;

    // Of the group "Desktop Entry".
    std::string nameUnlocalized() const { return value("Name"); }
    std::string icon() const { return value("Icon"); }
    std::string type() const { return value("Type"); }
    std::string exec() const { return value("Exec"); }

    // Of the sandbox section: the last of "X-Application", "X-Fencebox" and "Fencebox" that exists.
    std::string appName() const { return value(sandboxSection(), "ApplicationName"); }
    std::string appOrgname() const { return value(sandboxSection(), "OrganizationName"); }
    std::vector<std::string> appPermissions() const {
        return stringVectorValue(sandboxSection(), "Permissions");
    }

private:
    explicit ManifestEntry(std::shared_ptr<GKeyFile> file) : file_(std::move(file)) {}
    std::string sandboxSection() const;

    std::shared_ptr<GKeyFile> file_;
};

} // namespace AppManifest
