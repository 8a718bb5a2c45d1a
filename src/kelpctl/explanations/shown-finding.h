#pragma once

#include "kelpctl/terminal.h"

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstddef>
#include <string>

namespace KelpCtl {

Style styleOf(Validator::LogLevel level);

/// The text of a finding in which everything that is not of the catalogue is escaped for people.
std::string shownText(const Validator::Message &message);

/// A finding as the form for people has it, "error: PATH: TEXT [ID]", after `indent` blanks; broken and
/// coloured as it suits the file descriptor to which it goes.
std::string findingLine(const Validator::Message &message, int file, std::size_t indent);

/// A line after `indent` blanks. On a terminal it is broken to fit, and what continues it stands two columns
/// further in.
std::string fittedLine(const std::string &line, std::size_t indent, int file);

} // namespace KelpCtl
