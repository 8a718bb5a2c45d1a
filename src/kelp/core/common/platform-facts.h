#pragma once

#include <string>

namespace Common {

/// The version of the operating system: what stands after "VERSION_ID=" in the first such line of
/// etc/os-release below the root prefix (os-release(5)), quotes included; may be empty. Raises
/// ErrorCode::Internal "Couldn't retrieve Velura OS version" when there is no such file or line.
std::string osVersion();

/// The architecture for which the machine takes packages: the first word of etc/rpm/platform below the root
/// prefix, up to its first "-"; the kernel's machine name when there is no such word. Raises
/// ErrorCode::Internal "Couldn't get platform architecture" when neither has an answer.
std::string platformArchitecture();

} // namespace Common
