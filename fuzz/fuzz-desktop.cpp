// Any desktop file gives a report and no exception, whatever the profile; and judging it twice says the same.

#include "kelp/core/kelp/validator/desktop/desktop.h"
#include "support/fuzz-file.h"

#include <filesystem>
#include <iostream>
#include <sstream>

using namespace Validator;

namespace {

const std::string package = "com.example.app";

/// Keeps what goes to standard error from the terminal, and gives it back.
class Report {
public:
    Report() : original_(std::cerr.rdbuf(text_.rdbuf())) {}
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    ~Report() { std::cerr.rdbuf(original_); }

    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf *original_;
};

std::string judge(const std::string &file, const std::shared_ptr<Config> &config) {
    RpmFacts facts;
    facts.name = package;
    facts.requirements = {"libveluraapp-launcher"};
    const auto logger = std::make_shared<Logger>();
    const Report report;
    Desktop desktop(std::make_shared<RpmMeta>(facts), config, logger);
    desktop.setInstallRoot("/nonexistent");
    require(desktop.canValidate(config->applicationsDir() + package + ".desktop", file));
    require(!desktop.canValidate("/usr/share/common/com.example/data", file));
    desktop.validate(config->applicationsDir() + package + ".desktop", file);
    desktop.finish();
    require(logger->getFlag(ValidatorFlag::DesktopSeen) || logger->errorSeen());
    return report.text();
}

std::shared_ptr<Config> configOf(Profile profile) {
    const Report developerMode;
    return std::make_shared<Config>(profile);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const std::shared_ptr<Config> configs[] = {configOf(Profile::Regular), configOf(Profile::MDM),
                                                      configOf(Profile::Pwa)};
    const FuzzFile file(data, size);
    for (const auto &config : configs)
        require(judge(file.path(), config) == judge(file.path(), config));
    return 0;
}
