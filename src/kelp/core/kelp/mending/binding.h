#pragma once

#include "kelp/core/trusted-sources/source.h"

#include <optional>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The key id of the source that stands for all packages that came from nowhere.
inline constexpr const char *reservedSource = ".no.source.apps";

/// The source that sold a package, by its client certificate; nothing without one, or without a signature
/// database. Raises when that cannot be read.
std::optional<TrustedSources::Source> certifiedSource(const std::string &id);

/// Binds a package to the source of its client certificate, or to the reserved one, whatever it was bound to.
/// One transaction. The policy stays as it is. Raises as certifiedSource() and the sources' database do; then
/// the binding is what it was.
void bindToItsSource(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
