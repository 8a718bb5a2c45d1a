#include "platform/app-manifest/manifest-entry.h"

#include <glib.h>

#include <set>

namespace AppManifest {

namespace {

constexpr const char *desktopEntry = "Desktop Entry";

/// Drops a text that came with an error: GLib returns the part that it had read.
template<class Text, class Read>
Text unlessFailed(const Read &read) {
    GError *error = nullptr;
    Text text(read(&error));
    if (error) {
        g_error_free(error);
        return {};
    }
    return text;
}

struct FreeText {
    void operator()(gchar *text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<gchar, FreeText>;

struct FreeStrings {
    void operator()(gchar **strings) const { g_strfreev(strings); }
};
using Strings = std::unique_ptr<gchar *, FreeStrings>;

std::vector<std::string> toVector(const Strings &strings) {
    std::vector<std::string> result;
    for (gchar **string = strings.get(); string && *string; ++string)
        result.emplace_back(*string);
    return result;
}

} // namespace

std::optional<ManifestEntry> ManifestEntry::fromFilename(const std::string &path) {
    std::shared_ptr<GKeyFile> file(g_key_file_new(), g_key_file_unref);
    // Without translations the keys that a group holds would depend on the language of this process.
    if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_KEEP_TRANSLATIONS, nullptr) ||
        !g_key_file_has_group(file.get(), desktopEntry))
        return std::nullopt;
    return ManifestEntry(std::move(file));
}

std::vector<std::string> ManifestEntry::groups() const {
    return toVector(Strings(g_key_file_get_groups(file_.get(), nullptr)));
}

bool ManifestEntry::containsGroup(const std::string &group) const {
    return g_key_file_has_group(file_.get(), group.c_str()) != 0;
}

bool ManifestEntry::contains(const std::string &group, const std::string &key) const {
    return g_key_file_has_key(file_.get(), group.c_str(), key.c_str(), nullptr) != 0;
}

std::vector<std::string> ManifestEntry::groupKeys(const std::string &group) const {
    std::vector<std::string> keys =
        toVector(Strings(g_key_file_get_keys(file_.get(), group.c_str(), nullptr, nullptr)));
    // GLib names a key once for each line that sets it, although only the last line counts.
    std::set<std::string> seen;
    std::erase_if(keys, [&](const std::string &key) { return !seen.insert(key).second; });
    return keys;
}

std::string ManifestEntry::value(const std::string &group, const std::string &key) const {
    const auto text = unlessFailed<OwnedText>([&](GError **error) {
        return g_key_file_get_string(file_.get(), group.c_str(), key.c_str(), error);
    });
    return text ? text.get() : "";
}

std::string ManifestEntry::value(const std::string &key) const {
    return value(desktopEntry, key);
}

std::vector<std::string> ManifestEntry::stringVectorValue(const std::string &group,
                                                          const std::string &key) const {
    return toVector(unlessFailed<Strings>([&](GError **error) {
        return g_key_file_get_string_list(file_.get(), group.c_str(), key.c_str(), nullptr, error);
    }));
}

std::string ManifestEntry::sandboxSection() const {
    std::string section;
    // The last existing one counts, in this order and not in the file's.
    for (const char *name : {"X-Application", "X-Fencebox", "Fencebox"})
        if (containsGroup(name))
            section = name;
    return section;
}

} // namespace AppManifest
