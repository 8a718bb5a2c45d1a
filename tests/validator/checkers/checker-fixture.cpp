#include "checker-fixture.h"

#include "support/captured-output.h"
#include "support/text-file.h"

#include <sstream>

namespace fs = std::filesystem;

std::string error(const std::string &text) {
    return "(ERROR)\t\t" + text;
}

std::string warning(const std::string &text) {
    return "(WARNING)\t" + text;
}

std::string info(const std::string &text) {
    return "(INFO)\t\t" + text;
}

CheckerTest::CheckerTest() {
    facts_.name = "org.example.app";
    facts_.architecture = "aarch64";
    writeFile(root_.path() / "var/lib/developer-moded/developer-moded.conf",
              "[developermode]\nvalidationEnabled=true\n");
    writeFile(root_.path() / "etc/os-release", "VERSION_ID=4.0.2\n");
}

void CheckerTest::list(const std::vector<std::string> &paths) {
    for (const std::string &path : paths)
        facts_.files.emplace_back().path = path;
}

std::string CheckerTest::unpack(std::string_view content, bool isExecutable, const std::string &name) {
    const fs::path path = root_.path() / name;
    writeFile(path, content);
    fs::permissions(path, isExecutable ? fs::perms(0755) : fs::perms(0644));
    return path;
}

Lines CheckerTest::linesOf(const std::function<void()> &action) {
    CapturedOutput output(CapturedOutput::Stream::Error);
    action();
    std::istringstream text(output.take());
    Lines lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::shared_ptr<Validator::Config> CheckerTest::config() {
    return std::make_shared<Validator::Config>(profile_);
}
