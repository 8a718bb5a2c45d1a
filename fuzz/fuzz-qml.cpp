// Both scanners find only pieces of the text, in ascending order, each with a module. What they call a
// version has the form of one. The checker keeps as few imports as it can. It must fail the same files of a
// package as a model that keeps all.

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/qml/qml-imports.h"
#include "kelp/core/kelp/validator/qml/qml-scanner.h"
#include "support/fuzz-checker.h"
#include "support/fuzz-file.h"

#include <algorithm>
#include <functional>
#include <set>

using namespace Validator;

namespace {

bool isWithin(std::string_view piece, std::string_view text) {
    return piece.data() >= text.data() && piece.data() + piece.size() <= text.data() + text.size();
}

void scan(decltype(scanQmlImports) *scanner, std::string_view text,
          const std::function<bool(std::string_view)> &isVersion) {
    const char *last = text.data();
    const auto check = [&](const QmlImport &import) {
        require(isWithin(import.module, text) && isWithin(import.version, text));
        require(!import.module.empty() && isVersion(import.version));
        require(import.module.data() >= last && import.version.data() >= import.module.data());
        require(import.module.find('\n') == std::string_view::npos);
        last = import.module.data();
    };
    scanner(text, check, Passage());
}

const std::vector<std::string> files{"/usr/share/app/qml/a", "/usr/share/app/qml/pages/b"};
constexpr const char *paths[] = {"/usr/share/app/qml/A.qml", "/usr/share/app/qml/pages/B.qml"};

bool isQuoted(const std::string &import) {
    return import.size() > 1 && import.starts_with('"') && import.ends_with('"');
}

bool leadsToFile(const std::string &import, const std::filesystem::path &path) {
    const auto target = path.parent_path() / import.substr(1, import.size() - 2);
    return std::find(files.begin(), files.end(), target.lexically_normal()) != files.end();
}

/// Whether a file fails whose imports, with those of all files before, are these. Takes out those that lead
/// to a file of the package.
bool fails(std::set<std::string> &imports, const std::string &path) {
    const auto isAbsolute = [](const std::string &import) { return isQuoted(import) && import[1] == '/'; };
    const bool anyIsAbsolute = std::any_of(imports.begin(), imports.end(), isAbsolute);
    std::erase_if(imports, [&](const std::string &import) {
        return isQuoted(import) && !isAbsolute(import) && leadsToFile(import, path);
    });
    const Config &config = *fuzzConfig();
    return anyIsAbsolute || std::any_of(imports.begin(), imports.end(), [&](const std::string &import) {
               return !config.allowedQmlImports().contains(import) &&
                      !config.unstableQmlImports().contains(import) &&
                      !config.deprecatedQmlImports().contains(import) &&
                      config.reservedQmlImports().contains(import);
           });
}

/// The pieces of the text between NUL bytes are the files of a package.
void check(std::string_view text) {
    const FuzzChecker<QmlImports> run(files);
    std::set<std::string> imports;
    for (std::size_t i = 0; !text.empty(); ++i) {
        const std::string_view piece = text.substr(0, text.find('\0'));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        const auto keep = [&](const QmlImport &import) {
            imports.insert(std::string(import.module) + (import.version.empty() ? "" : " ") +
                           std::string(import.version));
        };
        scanQmlImports(piece, keep, Passage());
        const FuzzFile file(reinterpret_cast<const std::uint8_t *>(piece.data()), piece.size());
        run.report->clearError();
        run.checker->validate(paths[i % 2], file.path());
        require(run.report->errorSeen() == fails(imports, paths[i % 2]));
        require(run.report->getFlag(ValidatorFlag::ImportsVitrine) ==
                imports.contains("Halyard.Vitrine 1.0"));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    scan(scanQmlImports, text, [](std::string_view version) {
        return version.find_first_not_of("0123456789.") == std::string_view::npos;
    });
    scan(scanEmbeddedImports, text, isPlainVersion);
    check(text);
    return 0;
}
