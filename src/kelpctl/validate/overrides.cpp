#include "kelpctl/validate/overrides.h"

#include "kelpctl/closest-word.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/kelp/validator/catalogue.h"

#include <fnmatch.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace KelpCtl {

namespace {

constexpr std::uintmax_t longestFile = std::uintmax_t(1) << 20;

/// The three parts of a line; parts after a missing one are empty.
Override parse(const std::string &line) {
    Override result;
    std::istringstream words(line);
    words >> result.id >> result.pattern >> std::ws;
    std::getline(words, result.reason);
    // Part of another system's line end.
    if (result.reason.ends_with('\r'))
        result.reason.pop_back();
    return result;
}

std::string objectionTo(const Override &line) {
    std::string objection = objectionToSilence(line.id);
    if (!objection.empty())
        return objection;
    return line.reason.empty() ? "A line has an id, a pattern of paths and a reason" : "";
}

} // namespace

std::vector<Override> readOverrides(const std::filesystem::path &file) {
    const auto text = Common::readIfExists(file, longestFile);
    if (!text)
        throw std::runtime_error("There is no file " + file.string());
    std::vector<Override> overrides;
    std::istringstream lines(*text);
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        Override result = parse(line);
        if (result.id.empty() || result.id.starts_with('#'))
            continue;
        if (const std::string objection = objectionTo(result); !objection.empty())
            throw std::runtime_error(file.string() + ":" + std::to_string(number) + ": " + objection);
        result.line = number;
        overrides.push_back(std::move(result));
    }
    return overrides;
}

const Override *findOverride(const std::vector<Override> &overrides, const Validator::Message &finding) {
    const auto found = std::ranges::find_if(overrides, [&](const Override &line) {
        return line.id == finding.entry.id &&
               ::fnmatch(line.pattern.c_str(), finding.path.c_str(), FNM_NOESCAPE) == 0;
    });
    return found == overrides.end() ? nullptr : &*found;
}

void tellUnused(const std::vector<Override> &overrides, const std::set<std::size_t> &usedLines,
                const std::string &file) {
    for (const Override &line : overrides)
        if (!usedLines.contains(line.line))
            std::cerr << "kelpctl: " << shown(file) << ':' << line.line << ": no finding for "
                      << shown(line.id + ' ' + line.pattern) << '\n';
}

std::string objectionToSilence(const std::string &id) {
    using Validator::LogLevel;
    const auto all = Validator::allFindings();
    const auto found = std::ranges::find(all, id, &Validator::CatalogueEntry::id);
    if (found == all.end()) {
        std::vector<std::string> known;
        known.reserve(all.size());
        for (const Validator::CatalogueEntry &entry : all)
            known.emplace_back(entry.id);
        return "There is no finding " + id + suggestion(id, known);
    }
    const bool isMild = found->level == LogLevel::Warning || found->level == LogLevel::Info;
    return isMild ? "" : "Only warnings and notes can be hidden or overridden: " + id;
}

} // namespace KelpCtl
