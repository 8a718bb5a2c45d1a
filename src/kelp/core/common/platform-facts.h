#pragma once

#include <string>

namespace Common {

/// The version of the operating system: the text after "VERSION_ID=" in the first such line of etc/os-release
/// below the root prefix (os-release(5)). The text keeps its quotes and may be empty. Raises
/// ErrorCode::Internal "Couldn't retrieve Velura OS version" when no such line can be read.
std::string osVersion();

/// The architecture of the machine's packages: the first word of etc/rpm/platform below the root prefix, up
/// to its first "-". If that is empty or cannot be read, the machine name of the kernel (uname(2)). Raises
/// ErrorCode::Internal "Couldn't get platform architecture" when both are empty.
std::string platformArchitecture();

} // namespace Common
