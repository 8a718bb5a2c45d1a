#pragma once

#include <string_view>

namespace Validator {

/// The program that a launch line of a desktop file names: all up to the first blank.
constexpr std::string_view programOf(std::string_view launchLine) {
    return launchLine.substr(0, launchLine.find(' '));
}

} // namespace Validator
