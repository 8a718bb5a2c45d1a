#pragma once

#include <string>

namespace Common::Rpm {

/// Why librpm refuses an open package file, for people: that it is another kind of file, that it is cut
/// short, or that its header is damaged. Says nothing about the payload.
std::string packageDefect(int file);

} // namespace Common::Rpm
