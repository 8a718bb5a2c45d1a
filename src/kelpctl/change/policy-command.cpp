#include "kelpctl/change/commands.h"
#include "kelpctl/look/machine.h"
#include "kelpctl/look/presentation.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <CLI/CLI.hpp>
#include <boost/json.hpp>

#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Common::WriterLock;
using Core::KELP::SourcesView;
using Core::TrustedSources::PolicySetting;

struct PolicyArguments {
    LookOptions look;
    std::string setting; ///< Empty for both.
    std::string word;    ///< Empty to only look.
};

std::string wordFor(bool isAllowed) {
    return isAllowed ? "allow" : "deny";
}

void set(const Machine &machine, const PolicyArguments &arguments) {
    const WriterLock lock(WriterLock::Wait::No);
    setPolicy(machine.configuration(),
              arguments.setting == "web-pwa" ? PolicySetting::WebPwa : PolicySetting::MissingSource,
              arguments.word == wordFor(true));
}

void print(std::ostream &output, const PolicyArguments &arguments, const SourcesView &sources) {
    if (arguments.look.isJson) {
        output << json::object{{"missing_source_allowed", sources.missingSourceAllowed},
                               {"web_pwa_source_allowed", sources.webPwaSourceAllowed}}
               << '\n';
        return;
    }
    for (const auto &[setting, isAllowed] : {std::pair("missing-source", sources.missingSourceAllowed),
                                             {"web-pwa", sources.webPwaSourceAllowed}})
        if (arguments.setting.empty() || arguments.setting == setting)
            output << setting << ' ' << wordFor(isAllowed) << '\n';
}

ExitStatus policy(const PolicyArguments &arguments, std::ostream &output) {
    if (!arguments.word.empty() && !arguments.look.root.empty())
        throw std::runtime_error("The policy is changed on the running machine: chroot into an image for it");
    const Machine machine(arguments.look);
    // Read before a change as well: so a missing permission gives the same message in both cases.
    SourcesView sources = SourcesView::read(machine.configuration());
    if (!arguments.word.empty()) {
        set(machine, arguments);
        sources = SourcesView::read(machine.configuration());
    }
    print(output, arguments, sources);
    return ExitStatus::Accepted;
}

} // namespace

void addPolicy(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<PolicyArguments>();
    CLI::App *policy = app.add_subcommand("policy", "Tell what the trusted sources allow, or change it");
    addLookOptions(*policy, arguments->look);
    auto *setting = policy
                        ->add_option("SETTING", arguments->setting,
                                     "missing-source: packages without a source; web-pwa: web applications")
                        ->check(CLI::IsMember({"missing-source", "web-pwa"}))
                        ->option_text(" ");
    policy->add_option("WORD", arguments->word, "allow or deny; without it, tell")
        ->check(CLI::IsMember({"allow", "deny"}))
        ->needs(setting)
        ->option_text(" ");
    policy->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::policy(*arguments, output); };
    });
}

} // namespace KelpCtl
