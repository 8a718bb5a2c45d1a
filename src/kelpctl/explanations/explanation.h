#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Where the lines of an example belong.
enum class ExampleKind : std::uint32_t {
    Spec,     ///< A .spec file: its first part, or the sections that the example names.
    Desktop,  ///< The desktop file.
    Manifest, ///< The file /manifest.json.
    Path,     ///< Each line is the path of a file in the package.
    Shell     ///< A shell, where the package is built.
};

/// The explanation of a finding, for makers of packages.
struct Explanation {
    std::string_view id;
    std::string_view what; ///< The fault.
    std::string_view why;  ///< Why a device refuses it, or what would go wrong there.
    std::string_view mend; ///< How to mend it.
    ExampleKind kind;
    std::string_view example;    ///< Lines of that kind; never empty.
    std::string_view topic = {}; ///< The topic of the rules about it; empty for none.
};

/// "error", "critical", "warning" or "info".
std::string nameOf(Validator::LogLevel level);

/// "spec", "desktop", "manifest", "path" or "shell".
std::string nameOf(ExampleKind kind);

/// The explanation of an id; one without texts for an unknown id.
const Explanation &explanationOf(std::string_view id);

// An explanation as plain text, in two parts.

/// All but the example, in paragraphs that may be broken anywhere, with an empty line after the last.
std::string proseOf(const Validator::CatalogueEntry &entry);
/// The example with a heading. People copy its lines, so they must not be wrapped.
std::string exampleOf(const Validator::CatalogueEntry &entry);

/// The text of an explanation for the makers of one package: "ID" and the example package's name become
/// `name`, which must be escaped for people; the example's organization and application become its parts.
std::string addressedTo(const std::string &name, std::string_view text);

/// All of it in GitHub's kind of Markdown.
std::string markdownOf(const Validator::CatalogueEntry &entry);

// The tables, one for each catalogue.

std::span<const Explanation> headerExplanations();
std::span<const Explanation> contentExplanations();
std::span<const Explanation> desktopExplanations();
std::span<const Explanation> sandboxExplanations();
std::span<const Explanation> taskExplanations();
std::span<const Explanation> programExplanations();
std::span<const Explanation> hardeningExplanations();

} // namespace KelpCtl
