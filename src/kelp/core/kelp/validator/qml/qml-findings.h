#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings on imports of QML modules. "import" says that argument 0 is the import.
enum class QmlRule : std::uint32_t {
    VitrineTypeMissing = 0,
    AbsoluteImport = 1, ///< import
    EmbeddedImport = 2, ///< import; raised for an import within a binary
    UnstableImport = 3, ///< import
    ReservedImport = 4, ///< import
};

/// Throws as composeMessage() does.
Message messageOf(QmlRule rule, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendQmlFindings(std::vector<CatalogueEntry> &all);

} // namespace Validator
