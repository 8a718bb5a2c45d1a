#include "kelpctl/closest-word.h"

#include <algorithm>
#include <utility>

namespace KelpCtl {

namespace {

/// The number of typing mistakes between the two. Keeps three lines of the table of all beginnings.
std::size_t distance(std::string_view from, std::string_view to) {
    constexpr std::size_t shortest = 3;
    // An abbreviated word is one mistake.
    if (from.size() >= shortest && to.starts_with(from))
        return 1;
    std::vector<std::size_t> before, last, line(to.size() + 1);
    for (std::size_t column = 0; column <= to.size(); ++column)
        line[column] = column;
    for (std::size_t row = 1; row <= from.size(); ++row) {
        before = std::exchange(last, line);
        line[0] = row;
        for (std::size_t column = 1; column <= to.size(); ++column) {
            const bool isSame = from[row - 1] == to[column - 1];
            line[column] =
                std::min({last[column] + 1, line[column - 1] + 1, last[column - 1] + (isSame ? 0U : 1U)});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1])
                line[column] = std::min(line[column], before[column - 2] + 1);
        }
    }
    return line.back();
}

} // namespace

std::string closestWord(std::string_view word, const std::vector<std::string> &words) {
    // A longer one is no mistake, and would take long.
    constexpr std::size_t longest = 100;
    if (word.size() > longest)
        return {};
    std::string closest;
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const std::string &candidate : words)
        if (const std::size_t found = distance(word, candidate); found < least) {
            least = found;
            closest = candidate;
        }
    return closest;
}

std::string suggestion(std::string_view word, const std::vector<std::string> &words) {
    const std::string closest = closestWord(word, words);
    return closest.empty() ? "" : "; did you mean " + closest + "?";
}

} // namespace KelpCtl
