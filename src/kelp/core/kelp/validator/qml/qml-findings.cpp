#include "kelp/core/kelp/validator/qml/qml-findings.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Warning, "[desktop] X-Pelago-Application-Type should be vitrine-qt5 for apps importing "
                        "Halyard.Vitrine in QML"},
    {LogLevel::Error, "[{0}] Import is not allowed"},
    {LogLevel::Info, "[{0}] Beware only allowed imports can be used"},
    {LogLevel::Warning, "[{0}] Import is unstable or deprecated"},
    {LogLevel::Error, "[{0}] Import is not allowed"},
};

} // namespace

Message messageOf(QmlRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

} // namespace Validator
