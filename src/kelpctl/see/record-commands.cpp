// The commands about the records: the registry and the trusted sources.

#include "kelpctl/see/commands.h"
#include "kelpctl/see/look-command.h"
#include "kelpctl/see/presentation.h"
#include "kelpctl/see/stored-application.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/unread.h"

#include <boost/json.hpp>

#include <ostream>

namespace json = boost::json;

namespace KelpCtl {

namespace {

ExitStatus history(const Machine &, const std::string &id, bool isJson, std::ostream &output) {
    Core::KELP::Unread unread;
    const std::vector<Core::KELP::RegistryRecord> records = historyOf(id, unread);
    if (!id.empty() && records.empty() && unread.texts().empty())
        throw Common::Error(Common::ErrorCode::PackageNotExist, "The registry knows nothing of " + id);
    if (isJson) {
        json::array array;
        for (const auto &record : records)
            array.push_back(asJson(record));
        output << array << '\n';
    } else if (!records.empty()) {
        printTable(output, historyTable(records));
    }
    return tellUnread(unread, ExitStatus::Accepted);
}

ExitStatus sources(const Machine &machine, const std::string &, bool isJson, std::ostream &output) {
    json::array array;
    std::vector<std::vector<std::string>> rows = {{"KEY", "SUBJECT", "APPLICATIONS"}};
    for (const auto &source : Core::KELP::SourcesView::read(machine.configuration()).sources) {
        json::array packages;
        std::string ids;
        for (const std::string &id : source.packages) {
            packages.emplace_back(jsonText(id));
            ids += (ids.empty() ? "" : " ") + shown(id);
        }
        array.push_back(json::object{
            {"key", jsonText(source.keyId)}, {"subject", jsonText(source.subject)}, {"packages", packages}});
        rows.push_back({shown(source.keyId), shown(source.subject), ids});
    }
    if (isJson)
        output << array << '\n';
    else if (rows.size() > 1)
        printTable(output, rows);
    return ExitStatus::Accepted;
}

} // namespace

void addHistory(CLI::App &app, Command &command) {
    addLookCommand(app, command,
                   {"history", "Tell what the registry knows", history, LookCommand::Argument::Optional, "ID",
                    "The application; all without one"});
}

void addSources(CLI::App &app, Command &command) {
    addLookCommand(app, command, {"sources", "List the trusted sources and what came from them", sources});
}

} // namespace KelpCtl
