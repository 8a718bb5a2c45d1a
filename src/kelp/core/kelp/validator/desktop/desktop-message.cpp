#include "kelp/core/kelp/validator/desktop/desktop-message.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[desktop] Desktop file is missing"},
    {LogLevel::Warning, "Desktop file is missing, no validation for fencebox section"},
    {LogLevel::Error, "[desktop] '{0}' group is disallowed"},
    {LogLevel::Error, "[desktop] X-Pelago-Application-Type must be vitrine-qt5 for halyard-qml apps"},
    {LogLevel::Warning, "[desktop] X-Pelago-Application-Type should be vitrine-qt5 (not a Vitrine app?)"},
    {LogLevel::Error, "[desktop] X-Pelago-Application-Type not declared (use vitrine-qt5 for QML apps)"},
    {LogLevel::Error, "[desktop] Missing valid Name declaration inside"},
    {LogLevel::Error, "[desktop] Name contains illegal characters"},
    {LogLevel::Error, "[desktop] Missing valid Icon declaration inside, must be Icon={0}"},
    {LogLevel::Error, "[desktop] Missing valid Exec declaration inside"},
    {LogLevel::Error, "[desktop] Missing valid Type declaration inside"},
    {LogLevel::Info, "[desktop] Application is a QML-only app"},
    {LogLevel::Error, "[desktop] invalid field name '{0}' in '{1}' group"},
    {LogLevel::Error, "[desktop] invalid value '{0}' in '{1}/{2}' field"},
    {LogLevel::Error, "[desktop] invalid value '{0}' in '{1}/{2}' field. \n"
                      "The expected value is a color in hex format (#RRGGBB)."},
    {LogLevel::Error, "[desktop] Broken desktop file"},
};

} // namespace

Message messageOf(DesktopMessage message, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(message), strings);
}

} // namespace Validator
