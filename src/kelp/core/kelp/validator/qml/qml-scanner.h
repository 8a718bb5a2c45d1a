#pragma once

#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <functional>
#include <string_view>

namespace Validator {

/// An import in a QML file or in a binary's text. The views point into the scanned text.
struct QmlImport {
    std::string_view module;  ///< "QtQuick", or a quoted path with its quotes. Never empty.
    std::string_view version; ///< "2.6", or empty.
};

/// Finds the import statements at the top of a QML file. This is no QML parser: it knows neither comments nor
/// strings. It reads the lines up to and including the first that has an opening brace. In each line it takes
/// the import statements at the beginning, up to the first other word. White space or ";" may stand between
/// them.
///
/// Calls `visit` for each import, in order and with repetitions. Takes time in proportion to the text, and no
/// memory.
void scanQmlImports(std::string_view text, const std::function<void(const QmlImport &)> &visit,
                    Passage passage);

/// Finds the imports in the read-only data of a binary, where compiled-in QML appears as text. Each word that
/// contains "import" begins a statement, which ends at the next line feed. Its second word is the module, the
/// third the version. Statements without a line feed, or without a plain version (isPlainVersion()), are left
/// out.
///
/// Calls `visit` for each import, in order and with repetitions. Takes time in proportion to the data, and no
/// memory.
void scanEmbeddedImports(std::string_view data, const std::function<void(const QmlImport &)> &visit,
                         Passage passage);

/// Whether the word is two runs of decimal digits around one full stop: "1.0", not ".5", "1." or "1.2.3".
bool isPlainVersion(std::string_view word);

} // namespace Validator
