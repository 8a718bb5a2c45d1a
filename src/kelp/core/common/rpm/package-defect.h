#pragma once

#include <string>

namespace Common::Rpm {

/// Why librpm refuses an open package file, for people: another kind of file, cut short, or a damaged header.
/// Says nothing about the payload.
std::string packageDefect(int file);

} // namespace Common::Rpm
