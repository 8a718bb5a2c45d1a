#pragma once

#include <string>

namespace Common {

/// The version of the operating system: the text after "VERSION_ID=" in etc/os-release below the root prefix
/// (os-release(5)). The first such line counts; quotes are kept; may be empty. Raises ErrorCode::Internal
/// "Couldn't retrieve Velura OS version" when there is no such file or line.
std::string osVersion();

/// The architecture of the machine's packages: the first word of etc/rpm/platform below the root prefix, up
/// to its first "-". Without one, the kernel's machine name. Raises ErrorCode::Internal "Couldn't get
/// platform architecture" when neither has an answer.
std::string platformArchitecture();

} // namespace Common
