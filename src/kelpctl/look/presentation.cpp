#include "kelpctl/look/presentation.h"

#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"

#include "kelp/core/kelp/inspection/unread.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iostream>

namespace KelpCtl {

namespace {

using Row = std::vector<std::string>;

std::vector<std::size_t> columnWidths(const std::vector<Row> &rows) {
    std::vector<std::size_t> widths;
    for (const Row &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], columnsOf(row[column]));
    }
    return widths;
}

std::string lineOf(const Row &row, const std::vector<std::size_t> &widths) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
        line += row[column];
        line.append(widths[column] - columnsOf(row[column]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

/// In a pipe a long line stays one line, for programs.
std::string fitted(const std::string &text) {
    return ::isatty(STDOUT_FILENO) ? wrapped(text, terminalWidth(STDOUT_FILENO)) : text;
}

} // namespace

void printTable(std::ostream &output, const std::vector<Row> &rows) {
    const std::vector<std::size_t> widths = columnWidths(rows);
    for (const Row &row : rows) {
        // Styled after the fitting, which would count the sequences as columns.
        const Style style = &row == rows.data() ? Style::Bold : Style::Plain;
        output << styled(fitted(lineOf(row, widths)), style, STDOUT_FILENO) << '\n';
    }
}

void printText(std::ostream &output, const std::string &text) {
    output << fitted(text) << '\n';
}

std::string shownBytes(std::uintmax_t bytes) {
    constexpr const char *units[] = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024)
        return counted(bytes, "byte");
    double value = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; value >= 1024 && unit + 1 < std::size(units); ++unit)
        value /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, value < 10 ? "%.1f %s" : "%.0f %s", value, units[unit]);
    return text;
}

std::string shownTime(std::int64_t time) {
    const std::time_t seconds = time;
    std::tm local{};
    char text[32];
    // The registry may hold any number, also one outside of every calendar.
    if (!::localtime_r(&seconds, &local) || std::strftime(text, sizeof text, "%F %T", &local) == 0)
        return std::to_string(time);
    return text;
}

namespace {

/// The errors of databases come from the core, which does not know the page that helps.
std::string helpForUnread(std::string_view text) {
    const std::size_t words = text.find("Couldn't read the ");
    return words != text.npos && text.find(" database", words) != text.npos
               ? "; see \"A database that cannot be read\" in recovery.md"
               : "";
}

} // namespace

ExitStatus tellUnread(const Core::KELP::Unread &unread, ExitStatus status) {
    for (const std::string &text : unread.texts())
        std::cerr << "kelpctl: " << shown(text) << helpForUnread(text) << '\n';
    return unread.texts().empty() ? status : ExitStatus::Trouble;
}

} // namespace KelpCtl
