#include "kelpctl/validate/commands.h"

#include "kelp/core/kelp/validator/catalogue.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>

namespace KelpCtl {

namespace {

struct RulesArguments {
    std::string profile = "regular";
    std::string topic;
};

/// For a target: otherwise the developer mode of this machine would be read and logged.
Validator::Rules rulesOf(const std::string &profile) {
    return Validator::allRules(Validator::Config(Validator::profileFromName(profile), Validator::Target{}));
}

/// All profiles have the same topics.
std::string checkTopic(const std::string &topic) {
    std::vector<std::string_view> topics;
    for (const Validator::Rule &rule : rulesOf("regular"))
        if (topics.empty() || topics.back() != rule.topic)
            topics.push_back(rule.topic);
    if (std::ranges::find(topics, topic) != topics.end())
        return "";
    std::string names;
    for (const std::string_view name : topics)
        names += (names.empty() ? "" : ", ") + std::string(name);
    return "There is no topic " + topic + "; the topics are " + names;
}

/// In byte order, so that the rules of two profiles can be compared by diff.
ExitStatus writeRules(const RulesArguments &arguments, std::ostream &output) {
    for (const auto &[topic, status, text] : rulesOf(arguments.profile))
        if (arguments.topic.empty() || topic == arguments.topic)
            output << topic << '\t' << status << '\t' << text << '\n';
    return ExitStatus::Accepted;
}

} // namespace

void addRules(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<RulesArguments>();
    CLI::App *rules = app.add_subcommand("rules", "Tell what a profile allows, a line for each rule");
    rules->add_option("--profile", arguments->profile, "The profile")
        ->check(
            CLI::IsMember({"regular", "extended", "mdm", "antivirus", "auth", "market", "systemapp", "pwa"}))
        ->option_text("NAME (regular)");
    rules->add_option("TOPIC", arguments->topic, "The first word of the lines to tell; all without one")
        ->check(CLI::Validator(checkTopic, "TOPIC"))
        ->option_text("");
    rules->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return writeRules(*arguments, output); };
    });
}

} // namespace KelpCtl
