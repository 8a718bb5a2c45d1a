#pragma once

#include "kelpctl/terminal.h"

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstddef>
#include <string>

namespace KelpCtl {

Style styleOf(Validator::LogLevel level);

/// The text of a finding, with all but the catalogue's own words escaped for people.
std::string shownText(const Validator::Message &message);

/// A finding in the form for people, "error: PATH: TEXT [ID]", after `indent` blanks; wrapped and coloured to
/// suit the file descriptor.
std::string findingLine(const Validator::Message &message, int file, std::size_t indent);

/// A line after `indent` blanks. On a terminal it is wrapped to fit, and its further lines are indented by
/// two more columns.
std::string fittedLine(const std::string &line, std::size_t indent, int file);

} // namespace KelpCtl
