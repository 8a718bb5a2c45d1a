#include "kelp/core/kelp/validator/configuration/profile.h"

#include "platform/package-signatures/certificate.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace Validator {

namespace {

using PackageSignatures::Subgroup;

struct ProfileRow {
    Profile profile;
    Subgroup subgroup;
    std::string_view name;
};

/// The first row that fits is taken: a certificate of a regular developer never selects "pwa".
constexpr ProfileRow profileRows[] = {
    {Profile::Regular, Subgroup::Regular, "regular"},
    {Profile::Extended, Subgroup::Extended, "extended"},
    {Profile::MDM, Subgroup::Mdm, "mdm"},
    {Profile::Auth, Subgroup::Auth, "auth"},
    {Profile::Antivirus, Subgroup::Antivirus, "antivirus"},
    {Profile::Market, Subgroup::Market, "market"},
    {Profile::SystemApp, Subgroup::SystemApp, "systemapp"},
    {Profile::Pwa, Subgroup::Regular, "pwa"},
};

/// The first row whose `column` is `value`.
template<class Column, class Value>
const ProfileRow &rowWhere(Column column, const Value &value, const std::string &complaint) {
    const auto found = std::ranges::find(profileRows, value, column);
    if (found == std::end(profileRows))
        throw std::out_of_range(complaint);
    return *found;
}

/// A certificate can hold any number, also one without a name.
template<class Enumeration>
std::string numberOf(Enumeration value) {
    return std::to_string(static_cast<std::underlying_type_t<Enumeration>>(value));
}

} // namespace

Profile profileFromName(const std::string &name) {
    return rowWhere(&ProfileRow::name, name, "Unknown profile name: " + name).profile;
}

std::string profileName(Profile profile) {
    const std::string complaint = "Unknown profile type: " + numberOf(profile);
    return std::string(rowWhere(&ProfileRow::profile, profile, complaint).name);
}

Profile profileFromCertificate(const PackageSignatures::Certificate &certificate) {
    // No default for an unknown subgroup: its packages may be meant to do less.
    const Subgroup subgroup = certificate.subgroup();
    const std::string complaint = "Unknown developer subgroup: " + numberOf(subgroup);
    return rowWhere(&ProfileRow::subgroup, subgroup, complaint).profile;
}

} // namespace Validator
