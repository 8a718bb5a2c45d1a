#include "kelp/core/kelp/validator/data/os-compatibility.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>

namespace Validator {

namespace {

std::optional<std::int32_t> parseComponent(std::string_view text) {
    std::int32_t value = 0;
    // A sign would be read as part of the number.
    if (text.empty() || !isDigit(text.front()))
        return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::vector<Version> parseAll(const std::vector<std::string_view> &texts) {
    std::vector<Version> versions;
    versions.reserve(texts.size());
    for (const std::string_view text : texts)
        versions.push_back(parseVersion(text));
    return versions;
}

/// Whether a system that is at least `version` is less than the start of the next release line. Compares the
/// shared beginning: computing the next line's start could overflow.
bool isOfReleaseLine(const Version &system, const Version &version) {
    if (version.size() < 2)
        throw std::out_of_range("A version of one component names no release line");
    return std::equal(version.begin(), version.end() - 1, system.begin(),
                      system.begin() + std::min(std::ssize(system), std::ssize(version) - 1));
}

} // namespace

Version parseVersion(std::string_view text) {
    Version version;
    while (true) {
        const std::size_t end = std::min(text.find('.'), text.size());
        const auto component = parseComponent(text.substr(0, end));
        if (!component)
            return {};
        version.push_back(*component);
        if (end == text.size())
            return version;
        text.remove_prefix(end + 1);
    }
}

int compareVersions(const Version &a, const Version &b) {
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (x != a.end() && y != b.end())
        return *x < *y ? -1 : 1;
    // Manifests have at most a megabyte, so the difference fits.
    return static_cast<int>(std::ssize(a) - std::ssize(b));
}

bool areVersions(const std::vector<std::string_view> &versions) {
    return !versions.empty() &&
           std::ranges::none_of(versions, [](std::string_view text) { return parseVersion(text).empty(); });
}

bool isCompatible(std::string_view osVersion, const std::vector<std::string_view> &versions) {
    // Before any comparison: one bad version must spoil the list on every system, not only on some.
    if (!areVersions(versions))
        return false;
    std::vector<Version> needed = parseAll(versions);
    std::sort(needed.begin(), needed.end(),
              [](const Version &a, const Version &b) { return compareVersions(a, b) > 0; });
    const Version system = parseVersion(osVersion);
    if (compareVersions(system, needed.front()) >= 0)
        return true;
    // The greatest accepts all later systems; each other one only its own release line.
    return std::any_of(needed.begin() + 1, needed.end(), [&](const Version &version) {
        return compareVersions(system, version) >= 0 && isOfReleaseLine(system, version);
    });
}

} // namespace Validator
