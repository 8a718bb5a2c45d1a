#pragma once

#include "kelpctl/command.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace Core::KELP {
class Unread;
}

namespace KelpCtl {

/// Prints rows of cells in columns; the first row is the heading. On a terminal the last column is wrapped;
/// in a pipe each row is one line. The cells must be escaped, and not styled.
void printTable(std::ostream &output, const std::vector<std::vector<std::string>> &rows);

/// Prints plain text of one or more lines, wrapped on a terminal.
void printText(std::ostream &output, const std::string &text);

/// "12 KiB", "3.4 MiB".
std::string shownBytes(std::uintmax_t bytes);

/// Seconds since the epoch as local time: "2026-11-25 02:51:10".
std::string shownTime(std::int64_t time);

/// Prints the failed reads on standard error, a line each. Returns the command's exit status, which would be
/// `status` without them.
ExitStatus tellUnread(const Core::KELP::Unread &unread, ExitStatus status);

} // namespace KelpCtl
