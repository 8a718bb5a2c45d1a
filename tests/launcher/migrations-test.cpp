#include "image/image-fixture.h"

#include "support/text-file.h"

#include <gmock/gmock.h>

#include <tuple>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

/// A machine with the sample applications installed, before the first start.
class MigrationsTest : public ImageFixture {
protected:
    void SetUp() override {
        ImageFixture::SetUp();
        if (!IsSkipped())
            run(". " KELP_SAMPLES "/setup; install_samples " KELP_RPMS
                "/samples; sign_samples; add_sample_users");
    }

    std::string run(const std::string &commands) const { return image().run("set -e; " + commands); }

    /// The launcher's own lines of one start. `environment` is NAME=VALUE.
    std::string launch(const std::string &environment = "A=") const {
        return run("set -o pipefail; launch " + environment +
                   " | sed --quiet '/onfiguration/d; /kelp.conf/d; /^\\[/p'");
    }

    bool holds(const std::string &path) const {
        return fs::exists(fs::symlink_status(image().root() / path));
    }
};

using TourTest = ImageFixture;

TEST_F(TourTest, ShowsWhatItHasTo) {
    EXPECT_THAT(image().run("BUILT_RPMS=" KELP_RPMS "/samples KELPCTL=" KELPCTL " " KELP_SAMPLES
                            "/tour --check-only"),
                HasSubstr(" passed, 0 failed"));
}

TEST_F(MigrationsTest, ARemovedStampRepeatsItsMigrationHarmlessly) {
    run("mkdir $IMAGE/var/lib/trusted-sources/db.sqlite3");
    const std::string unbound = launch();
    const std::string reason = "Trusted sources database not initialized\n";
    EXPECT_THAT(unbound, testing::StartsWith("[E] Couldn't initialize trusted sources database\n"
                                             "[E] unable to open database file\n"));
    for (const std::string line :
         {"Failed to add client certificate for package org.example.notes",
          "Couldn't bind org.example.notes package to source (keyid=.no.source.apps)\n[E] ",
          "Couldn't bind org.example.ticker package to source (keyid=.no.source.apps)\n[E] "})
        EXPECT_THAT(unbound, HasSubstr("[E] " + line + reason));
    // The stamp is made all the same.
    run("cd $IMAGE/var/lib; rmdir trusted-sources/db.sqlite3; rm kelp/.migration_done");
    launch();
    const std::string sources =
        "cd $IMAGE/var/lib; rm kelp/.migration_done; sqlite3 trusted-sources/db.sqlite3 ";
    run(sources +
        "\"DELETE FROM packages; CREATE TRIGGER cut BEFORE INSERT ON packages WHEN NEW.source_keyid <> "
        "'.no.source.apps' BEGIN SELECT RAISE(ABORT, 'cut'); END\"; launch");
    EXPECT_THAT(run(sources + "'DROP TRIGGER cut; SELECT id FROM packages'"),
                Not(HasSubstr("org.example.notes")))
        << "sold by a store";
    launch();
    const std::string skipped = "[I] Migration 'rpm_to_kelp' already completed, skipping.\n"
                                "[I] Migration 'org_to_skid' already completed, skipping.\n"
                                "[I] Migration 'new_integrityd' already completed, skipping.\n";
    const std::string snapshot =
        "cd $IMAGE && find opt/app usr/share/common srv home/*/.config home/*/.local "
        "var/lib/kelp/registry -printf '%p %y %l\\n' | sort; cat var/lib/kelp/registry; "
        "sqlite3 var/lib/trusted-sources/db.sqlite3 .dump; "
        "cat opt/app/org.example.notes/1.4.2-1/@resources/integrityd.json";
    const std::string before = run(snapshot);
    const std::string stays =
        "[W] Package net.example.unsigned doesn't have developer certificate\n"
        "[E] Failed to copy package com.example.phone files with mappings: "
        "/usr/share/icons/hicolor/86x86/apps/phone.png belongs to io.velura.dialer too\n";
    const std::string exceptSkid = "[I] Migration 'rpm_to_kelp' already completed, skipping.\n"
                                   "[I] Migration 'new_integrityd' already completed, skipping.\n";
    const std::string package = "newfstatat EIO /opt/app/org.example.notes/current";
    // Its failed look, and what the next start says.
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {".migration_done", package, stays + skipped.substr(skipped.find('\n') + 1)},
        {".migration_done", "getdents64 EIO /opt/app", stays + skipped.substr(skipped.find('\n') + 1)},
        {".migration_skid_done", package, exceptSkid},
        {".migration_skid_done", "newfstatat EIO /home/alice", exceptSkid},
        {".migration_skid_done", "newfstatat EIO /srv", exceptSkid},
        {".migration_integrityd_done", package,
         "[I] Migration 'rpm_to_kelp' already completed, skipping.\n"
         "[I] Migration 'org_to_skid' already completed, skipping.\n"},
    };
    for (const auto &[stamp, failure, log] : rows) {
        fs::remove(image().root() / "var/lib/kelp" / stamp);
        run("launch_failing " + failure);
        EXPECT_FALSE(holds("var/lib/kelp/" + stamp)) << stamp << failure;
        EXPECT_EQ(launch(), log) << stamp;
        EXPECT_EQ(run(snapshot), before) << stamp;
        EXPECT_TRUE(holds("var/lib/kelp/" + stamp));
    }
    run("cd $IMAGE/var/lib/kelp; rm .migration_integrityd_done; ln -s {,}.migration_integrityd_done");
    EXPECT_EQ(launch(), skipped.substr(0, skipped.rfind("[I]")) +
                            "[E] filesystem error: status: Too many levels of symbolic links "
                            "[/var/lib/kelp/.migration_integrityd_done]\n");
    for (const std::string place : {"home/alice", "home", "srv", "usr/share/common"}) {
        run("cd $IMAGE; rm var/lib/kelp/.migration_skid_done; mv " + place + " away; ln -s /mnt/x " + place);
        EXPECT_THAT(launch(), HasSubstr("[E] /" + place + " is a link that leads nowhere"));
        EXPECT_FALSE(holds("var/lib/kelp/.migration_skid_done")) << "the disk may be mounted later";
        run("cd $IMAGE; rm " + place + "; mv away " + place + "; touch var/lib/kelp/.migration_skid_done");
    }
    run("ln -s nowhere $IMAGE/var/lib/kelp/takeover.journal");
    EXPECT_THAT(launch(), Not(HasSubstr("'rpm_to_kelp' already"))) << "there is something to go on with";
}

TEST_F(MigrationsTest, TheRootPrefixMovesEverythingButTheRpmDatabase) {
    run(". " KELP_SAMPLES "/setup; mkdir -p $IMAGE/mnt/x/var/lib/trusted-sources $IMAGE/mnt/x/var/lib/kelp; "
        "mv $IMAGE/var/lib/package-signatures $IMAGE/mnt/x/var/lib/; "
        "printf '[kelp]\\ndatabase_directory = /data/apps\\n' | put_file /mnt/x/etc/kelp/kelp.conf; "
        "mkdir -p $IMAGE/mnt/x/home/alice/.config/org.example/common $IMAGE/opt "
        // Has another organisation's key for its name, which is no reason to stay.
        "$IMAGE/mnt/x/usr/share/common/com.example/$example_org; touch "
        "$IMAGE/mnt/x/usr/share/common/com.example/$example_org/file");
    launch("KELP_ROOT_FS=/mnt/x");
    EXPECT_EQ(run("in_image rpm -qa | sort"),
              "com.example.phone-1.0-1.noarch\nio.velura.dialer-11.2-1.noarch\nnet.example.unsigned-"
              "0.1-1.noarch\n");
    for (const char *path :
         {"data/apps/org.example.notes/current", "usr/bin/org.example.notes", "var/lib/kelp/registry",
          "var/lib/trusted-sources/db.sqlite3", "var/lib/kelp/.migration_done",
          "var/lib/kelp/.migration_skid_done", "var/lib/kelp/.migration_integrityd_done",
          "home/alice/.config/org.example/5a0c1e77d2f04b6e9a3381c4f7be20d91c5d6a01/common",
          "usr/share/common/com.example/9be2740f1d6c48a3b5e1f09c2a7d84361f3e5b02/"
          "5a0c1e77d2f04b6e9a3381c4f7be20d91c5d6a01/file"})
        EXPECT_TRUE(holds(std::string("mnt/x/") + path)) << path;
    for (const char *path : {"opt/app", "data", "usr/bin/org.example.notes", "var/lib/kelp/registry",
                             "var/lib/trusted-sources/db.sqlite3", "var/lib/kelp/.migration_done"})
        EXPECT_FALSE(holds(path)) << path;
    EXPECT_TRUE(holds("home/alice/.config/org.example/common"));
}

} // namespace
