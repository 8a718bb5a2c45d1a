#pragma once

#include <string>

namespace Common {

/// The version of the operating system: the text after "VERSION_ID=" in the first such line of etc/os-release
/// below the root prefix (os-release(5)), with quotes; may be empty. Raises ErrorCode::Internal "Couldn't
/// retrieve Velura OS version" when there is no such file or line.
std::string osVersion();

/// The architecture of the machine's packages: the first word of etc/rpm/platform below the root prefix, up
/// to its first "-"; the kernel's machine name when there is no such word. Raises ErrorCode::Internal
/// "Couldn't get platform architecture" when neither has an answer.
std::string platformArchitecture();

} // namespace Common
