#pragma once

#include "kelp/core/kelp/validator/desktop/desktop.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"
#include "validator/noted-findings.h"

#include <string>
#include <utility>
#include <vector>

namespace Validator {

inline const std::string package = "com.example.app";

/// The two groups of an application without fault.
inline const std::string launchEntry =
    "[Desktop Entry]\nType=Application\nName=Example\nIcon=com.example.app\n"
    "Exec=com.example.app\nX-Pelago-Application-Type=vitrine-qt5\n";
inline const std::string sandbox =
    "[X-Application]\nOrganizationName=com.example\nApplicationName=app\nPermissions=Audio;Internet;\n";

/// The text with one piece of it exchanged.
inline std::string with(std::string text, const std::string &old, const std::string &replacement) {
    return text.replace(text.find(old), old.size(), replacement);
}

/// One package before the checker of desktop files: what lies in it, and what it finds.
class DesktopCheck {
public:
    explicit DesktopCheck(Profile profile = Profile::Regular, const std::string &name = package,
                          std::vector<std::string> requirements = {}) :
        desktopPath_("/usr/share/applications/" + name + ".desktop") {
        RpmFacts facts;
        facts.name = name;
        facts.requirements = std::move(requirements);
        checker_ = std::make_unique<Desktop>(std::make_shared<RpmMeta>(facts),
                                             std::make_shared<Config>(profile, Target()),
                                             std::make_shared<Logger>(findings_.sink()));
        checker_->setInstallRoot(root_.path().string());
    }

    std::filesystem::path desktopFile() const { return root_.path() / "file.desktop"; }
    Desktop &checker() { return *checker_; }

    /// Offers a file; what the checker takes it judges.
    std::string offer(const std::string &path, const std::string &realPath) {
        if (checker_->canValidate(path, realPath))
            checker_->validate(path, realPath);
        return findings_.take();
    }
    std::string offerDesktopFile() { return offer(desktopPath_, desktopFile()); }

    /// What the desktop file alone gives.
    std::string validate(const std::string &text) {
        writeFile(desktopFile(), text);
        return offerDesktopFile();
    }

    std::string finish() {
        checker_->finish();
        return findings_.take();
    }

private:
    TemporaryDirectory root_;
    std::string desktopPath_;
    NotedFindings findings_;
    std::unique_ptr<Desktop> checker_;
};

} // namespace Validator
