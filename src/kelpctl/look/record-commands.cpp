// The commands about the records: the registry and the trusted sources.

#include "kelpctl/look/commands.h"
#include "kelpctl/look/look-command.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/look/stored-application.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/inspection/unread.h"

#include <boost/json.hpp>

#include <ostream>

namespace json = boost::json;

namespace KelpCtl {

namespace {

ExitStatus history(const Look &look) {
    Core::KELP::Unread unread;
    const std::vector<Core::KELP::RegistryRecord> records = historyOf(look.argument, unread);
    if (!look.argument.empty() && records.empty() && unread.texts().empty())
        throw Common::Error(Common::ErrorCode::PackageNotExist,
                            "The registry knows nothing of " + look.argument);
    if (look.isJson) {
        json::array array;
        for (const auto &record : records)
            array.push_back(asJson(record));
        look.output << array << '\n';
    } else if (!records.empty()) {
        printTable(look.output, historyTable(records));
    }
    return tellUnread(unread, ExitStatus::Accepted);
}

ExitStatus sources(const Look &look) {
    json::array array;
    std::vector<std::vector<std::string>> rows = {{"KEY", "SUBJECT", "APPLICATIONS"}};
    for (const auto &source : Core::KELP::SourcesView::read(look.machine.configuration()).sources) {
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
    if (look.isJson)
        look.output << array << '\n';
    else if (rows.size() > 1)
        printTable(look.output, rows);
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
