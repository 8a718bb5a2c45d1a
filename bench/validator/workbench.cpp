#include "workbench.h"

#include "support/text-file.h"

#include <iostream>

Workbench::Workbench() {
    std::cerr.rdbuf(nullptr);
    writeFile(root_.path() / "etc/os-release", "VERSION_ID=4.0.2\n");
    facts.name = "org.example.app";
    facts.version = "1.0";
    facts.release = "1";
    facts.architecture = "aarch64";
    config = std::make_shared<Validator::Config>(Validator::Profile::Regular);
}

void Workbench::list(std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        Validator::FileInfo &file = facts.files.emplace_back();
        file.mode = 0100644;
        file.path = "/usr/share/org.example.app/data/" + std::to_string(i);
        file.user = file.group = "root";
    }
}

std::string Workbench::unpack(const std::string &name, std::string_view content) const {
    const std::filesystem::path path = root_.path() / name;
    writeFile(path, content);
    std::filesystem::permissions(path, std::filesystem::perms(0755));
    return path;
}

std::string repeated(std::string_view piece, std::int64_t times) {
    return numbered(times, [&](const std::string &) { return std::string(piece); });
}

std::string numbered(std::int64_t count, const std::function<std::string(const std::string &)> &piece) {
    std::string text;
    for (std::int64_t i = 0; i < count; ++i)
        text += piece(std::to_string(i));
    return text;
}
