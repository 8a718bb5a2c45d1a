#include "checker-fixture.h"

#include "support/text-file.h"

namespace fs = std::filesystem;

CheckerTest::CheckerTest() {
    facts_.name = "org.example.app";
    facts_.architecture = "aarch64";
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
    findings_.takeEach();
    action();
    return findings_.takeEach();
}
