#pragma once

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/store/fs-database.h"

#include "recorded-events.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <iostream>
#include <map>

/// A store below a root of its own, with verbs for what happens to it. All packages are "org.app" of the key
/// "K1".
class StoreFixture : public testing::Test {
protected:
    using Files = std::map<std::string, std::string>; ///< Content by path in the package's tree.

    static constexpr const char *id = "org.app";

    StoreFixture() {
        recordedEvents().clear();
        // Of a package without a descriptor it says that it is one.
        writeFile(at("var/lib/kelp/registry"), "timestamp=1 event=I package=org.app keyid=K1\n");
    }

    /// A failed expectation prints to the captured stream as well.
    void TearDown() override {
        if (HasFailure())
            std::cerr << out.take();
    }

    std::filesystem::path at(const std::string &path) const { return root.path() / path; }
    std::string text(const std::string &path) const { return at(path).string(); }
    std::filesystem::path stored(const std::string &path) const { return at("opt/app/org.app/" + path); }

    Core::KELP::PackageStaging stage(const std::string &version, const Files &files) const {
        const std::filesystem::path staging = at("opt/kelp/tmp/org.app");
        std::filesystem::create_directories(staging);
        for (const auto &[path, content] : files)
            writeFile(staging / path, content);
        return {staging, id, version, "org", "app"};
    }

    static Core::KELP::PackageInformation extras(const std::string &subgroup = "regular") {
        return {{"certificate.id", "K1"}, {"certificate.subgroup", subgroup}};
    }

    void install(const std::string &version, const Files &files, const std::string &subgroup = "regular") {
        database.install(stage(version, files), extras(subgroup));
    }

    void prepare(const std::string &version, const Files &files) {
        database.prepareUpdate(stage(version, files), extras());
    }

    void describe(const std::string &version, const std::string &key = "K1") const {
        writeFile(stored(version + "/velura.pkg"), "[general]\nid=org.app\nversion=" + version +
                                                       "\n[certificate]\nid=" + key + "\nsubgroup=regular\n");
    }

    void breakDescriptor(const std::string &slot) { writeFile(stored(slot + "/velura.pkg"), "[general\n"); }

    /// Everything in the package's directory, links as "NAME -> VERSION".
    std::vector<std::string> slots() const {
        std::vector<std::string> names;
        if (std::filesystem::exists(stored("")))
            for (const auto &entry : std::filesystem::directory_iterator(stored("")))
                names.push_back(entry.path().filename().string() +
                                (entry.is_symlink()
                                     ? " -> " + std::filesystem::read_symlink(entry).filename().string()
                                     : ""));
        return names;
    }

    std::string versionOfRecord() { return database.packageInfo(id).at("general.version"); }

    TemporaryRoot root;
    CapturedOutput out;
    Core::Configuration configuration;
    Core::KELP::DatabasePathResolver resolver{configuration};
    Core::KELP::FSDatabase database{configuration, resolver};
};
