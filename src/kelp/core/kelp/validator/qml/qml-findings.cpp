#include "kelp/core/kelp/validator/qml/qml-findings.h"

namespace Validator {

namespace {

/// Two rules share a text: only their ids tell a path of the system from a module.
constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Warning, "application-type-vitrine-advised",
     "[desktop] X-Pelago-Application-Type should be vitrine-qt5 for apps importing "
     "Halyard.Vitrine in QML"},
    {LogLevel::Error, "qml-import-absolute", "[{0}] Import is not allowed"},
    {LogLevel::Info, "qml-import-embedded", "[{0}] Beware only allowed imports can be used"},
    {LogLevel::Warning, "qml-import-unstable", "[{0}] Import is unstable or deprecated"},
    {LogLevel::Error, "qml-import-not-allowed", "[{0}] Import is not allowed"},
};

} // namespace

Message messageOf(QmlRule rule, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(rule), strings);
}

void appendQmlFindings(std::vector<CatalogueEntry> &all) {
    all.insert(all.end(), std::begin(catalogue), std::end(catalogue));
}

} // namespace Validator
