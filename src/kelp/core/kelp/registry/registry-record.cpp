#include "kelp/core/kelp/registry/registry-record.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/foreign-text.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>

#include <map>
#include <string_view>

namespace Core::KELP {

namespace {

using Common::LogLevel;
using Common::LogStream;

const std::map<RegistryEvent, std::string> eventLetters = {
    {RegistryEvent::Install, "I"},
    {RegistryEvent::Update, "U"},
    {RegistryEvent::Remove, "R"},
};

const std::map<std::string, RegistryEvent, std::less<>> events = {
    {"I", RegistryEvent::Install},
    {"U", RegistryEvent::Update},
    {"R", RegistryEvent::Remove},
};

/// Calls `use` with each piece of `text` between separators that is not empty.
template<class Use>
void forEachPiece(std::string_view text, std::string_view separator, const Use &use) {
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        if (const std::string_view piece = text.substr(0, end); !piece.empty())
            use(piece);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    }
}

/// The values of a line as they stand. The views are of the line, which outlives them.
struct Fields {
    std::string_view timestamp;
    std::string_view event;
    std::string_view package;
    std::string_view keyId;
    std::vector<std::string> previousKeyIds;
};

void complain(Complaints complaints, const std::string &words) {
    if (complaints == Complaints::Logged)
        LogStream(LogLevel::Warning) << words;
}

void readToken(std::string_view token, Fields &fields, Complaints complaints) {
    const std::pair<std::string_view, std::string_view *> plainFields[] = {
        {"timestamp=", &fields.timestamp},
        {"event=", &fields.event},
        {"package=", &fields.package},
        {"keyid=", &fields.keyId},
    };
    for (const auto &[key, value] : plainFields) {
        if (token.starts_with(key)) {
            *value = token.substr(key.size());
            return;
        }
    }
    constexpr std::string_view previous = "prev-keyids=";
    if (token.starts_with(previous))
        forEachPiece(token.substr(previous.size()), "->",
                     [&](std::string_view id) { fields.previousKeyIds.emplace_back(id); });
    else
        complain(complaints, "Registry record contains unknown key: " + std::string(token));
}

/// The fault of the fields, or nullptr. The texts keep their mistakes: people search logs for them.
const char *complaint(const Fields &fields) {
    if (fields.timestamp.empty())
        return "Registry record doesn't contains timestamp";
    if (fields.event.empty())
        return "Registry record doesn't contains event type";
    if (!events.contains(fields.event))
        return "Registry record contains unknown event type";
    if (fields.package.empty())
        return "Registry record doesn't contains package id";
    if (fields.keyId.empty())
        return "Registry record doesn't contains key id";
    return nullptr;
}

} // namespace

std::string formatRecord(const RegistryRecord &record) {
    std::string line = "timestamp=" + std::to_string(record.timestamp()) +
                       " event=" + eventLetters.at(record.event()) + " package=" + record.packageId() +
                       " keyid=" + record.keyId();
    if (!record.previousKeyIds().empty())
        line += " prev-keyids=" + boost::algorithm::join(record.previousKeyIds(), "->");
    return line;
}

std::optional<RegistryRecord> parseRecord(const std::string &line, Complaints complaints) {
    Fields fields;
    forEachPiece(line, " ", [&](std::string_view token) { readToken(token, fields, complaints); });
    if (const char *words = complaint(fields)) {
        complain(complaints, words);
        return std::nullopt;
    }
    std::int64_t timestamp = 0;
    if (!boost::conversion::try_lexical_convert(fields.timestamp, timestamp)) {
        complain(complaints,
                 "Couldn't parse timestamp from registry record: " + std::string(fields.timestamp));
        return std::nullopt;
    }
    // A damaged id would count as an application that is lost, and its true line as missing.
    if (!Common::isFileName(std::string(fields.package))) {
        complain(complaints, "Registry record contains a package id that can name no directory");
        return std::nullopt;
    }
    return RegistryRecord(events.find(fields.event)->second, timestamp, std::string(fields.package),
                          std::string(fields.keyId), std::move(fields.previousKeyIds));
}

} // namespace Core::KELP
