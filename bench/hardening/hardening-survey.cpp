// Reads paths of ELF files, rpms and desktop files from standard input and says what the hardening has
// against each: what it says against an honest one is to be judged by hand.

#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/reader.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/hardening/desktop-hardening.h"
#include "kelp/core/kelp/validator/hardening/elf-hardening.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"
#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <elf.h>

#include <algorithm>
#include <iostream>
#include <string>

using namespace Validator;

namespace {

const std::string package = "org.example.app";

/// Counts what it has judged, by kind.
struct Survey {
    std::shared_ptr<Config> config = std::make_shared<Config>(Profile::Regular, Target{});
    std::size_t elfFiles = 0;
    std::size_t rpms = 0;
    std::size_t desktopFiles = 0;

    FindingSink sinkFor(const std::string &file) {
        return [file](const Message &message) {
            constexpr const char *levels[] = {"warning", "error", "critical", "info"};
            std::cout << levels[static_cast<std::size_t>(message.level)] << '\t' << message.entry.id << '\t'
                      << file << '\t' << message.text << '\n';
        };
    }

    /// As a program if it has a loader, and as a library of the package otherwise.
    void judgeElf(const std::string &file, const MappedFile &mapped) {
        const ProgramHeaders headers = readProgramHeaders(mapped.bytes());
        const bool isProgram =
            (headers.type == ET_EXEC || !interpretersOf(mapped.bytes(), headers).empty()) &&
            file.find(".so") == std::string::npos;
        RpmFacts facts;
        facts.name = package;
        ElfHardening checker(std::make_shared<RpmMeta>(facts), config,
                             std::make_shared<Logger>(sinkFor(file)));
        const std::string name = file.substr(file.rfind('/') + 1);
        checker.validate(isProgram ? "/usr/libexec/" + package + '/' + name
                                   : "/usr/share/" + package + "/lib/" + name + ".so",
                         file);
        ++elfFiles;
    }

    void judgeRpm(const std::string &file) {
        const RpmMeta meta(Common::Rpm::Reader(file, Common::Rpm::Signatures::NorDigests));
        Logger logger(sinkFor(file));
        checkHeaderHardening({meta, *config, logger});
        ++rpms;
    }

    void judgeDesktopFile(const std::string &file) {
        RpmFacts facts;
        facts.name = package;
        DesktopHardening(std::make_shared<RpmMeta>(facts), config, std::make_shared<Logger>(sinkFor(file)))
            .validate(config->applicationsDir() + package + ".desktop", file);
        ++desktopFiles;
    }

    void judge(const std::string &file) {
        if (file.ends_with(".desktop"))
            return judgeDesktopFile(file);
        const auto mapped = MappedFile::open(file);
        if (mapped && beginsAsElf(mapped->bytes()))
            judgeElf(file, *mapped);
        else if (mapped && mapped->bytes().starts_with("\xed\xab\xee\xdb"))
            judgeRpm(file);
    }
};

} // namespace

int main() {
    Common::Rpm::silenceLibrary();
    Survey survey;
    for (std::string file; std::getline(std::cin, file);)
        try {
            survey.judge(file);
        } catch (const std::exception &error) {
            std::cout << "unread\t\t" << file << '\t' << error.what() << '\n';
        }
    std::cout << survey.elfFiles << " ELF files, " << survey.rpms << " rpms, " << survey.desktopFiles
              << " desktop files\n";
}
