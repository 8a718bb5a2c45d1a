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

/// Rows of cells in columns, the first row being the heading. On a terminal the last column is wrapped; in a
/// pipe each row is one line. The cells are escaped already, and not styled.
void printTable(std::ostream &output, const std::vector<std::vector<std::string>> &rows);

/// A line or more of plain text, wrapped on a terminal.
void printText(std::ostream &output, const std::string &text);

/// "12 KiB", "3.4 MiB".
std::string shownBytes(std::uintmax_t bytes);

/// Seconds since the epoch as local time: "2026-11-25 02:51:10".
std::string shownTime(std::int64_t time);

/// Tells on standard error what could not be read, a line each. Returns the status of a command that would
/// have ended with `status` without.
ExitStatus tellUnread(const Core::KELP::Unread &unread, ExitStatus status);

} // namespace KelpCtl
