#include "image/image-fixture.h"

#include "support/text-file.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A machine before its first start, with one sound application, org.sound: whatever befalls others may not
/// keep it from arriving.
class Machine {
public:
    Machine() { run("add org.sound"); }

    /// Runs commands with two functions for applications: put VARIANT... [OPTION...] installs the packages
    /// VARIANT.rpm of this folder's CMakeLists.txt; add does so and gives each a developer's certificate.
    std::string run(const std::string &commands) const {
        return image_.run(
            "set -e\n"
            "put() {\n"
            "    local files=() options=()\n"
            "    for word; do [[ $word == -* ]] && options+=($word) || files+=($word.rpm); done\n"
            "    (cd " KELP_RPMS "; cp \"${files[@]}\" $IMAGE/tmp)\n"
            "    in_image rpm --install --force-debian --nodeps \"${options[@]}\" \"${files[@]/#//tmp/}\"\n"
            "}\n"
            "add() {\n"
            "    put \"$@\"\n"
            "    for word; do [[ $word == -* ]] || note_certificate ${word%%-*} developer KEY CN=S; done\n"
            "    sqlite3 $(signature_database) \"$noted_certificates\"; noted_certificates=\n"
            "}\n"
            "layers=${IMAGE%/*}\n" +
            commands);
    }

    /// The launcher's own lines of one start.
    std::string launch() const {
        std::istringstream output(run("launch"));
        std::string lines;
        for (std::string line; std::getline(output, line);)
            if (line.starts_with("["))
                lines += line + "\n";
        return lines;
    }

    const fs::path &root() const { return image_.root(); }
    bool holds(const std::string &path) const { return fs::exists(fs::symlink_status(root() / path)); }
    bool isStamped() const { return holds("var/lib/kelp/.migration_done"); }
    bool isInRpm(const std::string &id) const {
        return run("in_image rpm --query " + id + " || true").starts_with(id + "-");
    }

    void expectStay(const std::vector<std::string> &ids) const {
        std::string command = "in_image rpm --query --queryformat '%{NAME}\\n'";
        std::string answer;
        for (const std::string &id : ids) {
            command += " " + id;
            answer += id + "\n";
            for (const char *place : {"opt/app/", "opt/kelp/tmp/"})
                EXPECT_FALSE(holds(place + id + "/")) << id;
        }
        EXPECT_THAT(run(command + " || true"), testing::StartsWith(answer));
    }
    void expectArrived(const std::vector<std::string> &ids) const {
        std::string command =
            "in_image sh -c 'for id; do $id; read words </usr/share/$id/words; echo $words; "
            "grep -c package=$id /var/lib/kelp/registry; done; rpm --query \"$@\"' sh";
        std::string answer;
        std::string query;
        for (const std::string &id : ids) {
            command += " " + id;
            answer += id + "\nwords\n1\n";
            query += "package " + id + " is not installed\n";
            for (const char *file : {"velura.pkg", "symlink.list", "generated.dir.list"})
                EXPECT_TRUE(holds("opt/app/" + id + "/1-1/" + file)) << id << " " << file;
        }
        EXPECT_EQ(run(command + " || true"), answer + query);
    }

private:
    Image image_;
};

using TakeOverTest = ImageFixture;

TEST_F(TakeOverTest, WhatCouldNotBePublishedStaysInRpm) {
    const struct {
        std::string id;
        const char *commands;
        const char *reason;
    } rows[] = {
        {"org.astray", "add org.astray", "the link data/zones leads to nothing in the package"},
        {"org.app", "add org.app --excludedocs; echo foreign >$IMAGE/usr/share/org.app/help",
         "what stands at /usr/share/org.app/help would not go with the package"},
        {"org.shared", "add org.shared; put org.other",
         "/usr/share/org.shared/words belongs to org.other too"},
        {"org.linked", "ln -s org.linked $IMAGE/usr/share/org.alias; add org.linked; put org.foreign",
         "/usr/share/org.linked/words belongs to org.foreign too"},
        {"org.twice", "add org.twice; put org.twice-newer --force --justdb", "rpm holds it more than once"},
        {"org.changed",
         "add org.changed; rm $IMAGE/usr/share/org.changed/words; mkdir $IMAGE/usr/share/org.changed/words",
         "/usr/share/org.changed/words is not a file any more"},
        {"org.owned",
         "add org.owned; in_image useradd somebody; in_image chown somebody /usr/share/org.owned; "
         "ln -sf /etc/shadow $IMAGE/usr/share/org.owned/words",
         "others than root decide what stands at /usr/share/org.owned/words"},
        {"org.blocked", "add org.blocked; mkdir -p $IMAGE/opt/app; touch $IMAGE/opt/app/org.blocked",
         "/opt/app/org.blocked is not a directory"},
    };
    const Machine machine;
    for (const auto &row : rows)
        machine.run(row.commands);
    const std::string log = machine.launch();
    for (const auto &[id, commands, reason] : rows) {
        EXPECT_THAT(log, HasSubstr("Failed to copy package " + id + " files with mappings: " + reason));
        machine.expectStay({id});
    }
    machine.expectArrived({"org.sound"});
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, OneThatRpmCannotEraseStaysAndTheOthersAreInstalledAndBound) {
    const Machine machine;
    machine.run(
        "add_user alice; add org.app-clinging; echo data | put_file /usr/share/common/org.example/data");
    EXPECT_THAT(machine.launch(), HasSubstr("[E] Couldn't complete migration: rpm_to_kelp\n"));
    machine.expectStay({"org.app"});
    EXPECT_EQ(machine.run("in_image rpm --verify --nodeps org.app"), "");
    EXPECT_TRUE(machine.holds("usr/share/common/org.example/KEY/data"));
    machine.expectArrived({"org.sound"});
    EXPECT_EQ(machine.run("sqlite3 $IMAGE/var/lib/trusted-sources/db.sqlite3 'SELECT * FROM packages'"),
              "org.sound|.no.source.apps\n");
    EXPECT_FALSE(machine.isStamped());
    EXPECT_FALSE(machine.holds("var/lib/kelp/takeover.journal"));
}

TEST_F(TakeOverTest, ApplicationsThatFitOneByOneAreTakenOverOneByOne) {
    const Machine machine;
    machine.run(
        "add org.one org.two org.three org.large; rm $IMAGE/tmp/*.rpm; "
        "mount -o remount,size=$(($(df --output=used --block-size=1M $layers | tail -n 1) + 30))M $layers");
    EXPECT_THAT(machine.launch(), HasSubstr("There is no room to take over org.large package"));
    machine.expectArrived({"org.one", "org.two", "org.three", "org.sound"});
    machine.expectStay({"org.large"});
    EXPECT_FALSE(machine.isStamped());

    machine.run("mount -o remount,size=1G $layers");
    machine.launch();
    machine.expectArrived({"org.large"});
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, NothingIsErasedWithoutRoomForRpm) {
    const Machine machine;
    for (const char *directory : {"/var/lib/rpm", "/var/tmp"}) {
        const std::string place = std::string("$IMAGE") + directory;
        // Without what the machine may have at such a place: that may be anything.
        machine.run("cp $IMAGE/var/lib/rpm/rpmdb.* $IMAGE/tmp; mount -t tmpfs -o size=7M small " + place +
                    "; [[ $IMAGE/var/lib/rpm -ef " + place + " ]] && mv $IMAGE/tmp/rpmdb.* " + place +
                    " || true");
        EXPECT_THAT(machine.launch(),
                    HasSubstr(std::string("[E] There is too little free space for rpm: ") + directory));
        machine.expectStay({"org.sound"});
        EXPECT_FALSE(machine.holds("var/lib/kelp/takeover.journal"));
        machine.run("umount " + place);
    }
}

TEST_F(TakeOverTest, WhatCannotBePublishedIsRescuedAndChangedConfigurationComesAlong) {
    const Machine machine;
    machine.run("add org.app-littering org.twice; echo changed >$IMAGE/etc/org.twice.conf; "
                "echo other >$IMAGE/etc/org.sound.conf");
    const std::string log = machine.launch();
    EXPECT_THAT(log,
                AllOf(HasSubstr("[E] Attempt to overwrite existing file using mapping: /usr/bin/org.app\n"),
                      HasSubstr("[E] Package org.app is kept in \"/opt/kelp/rescued/org.app-1-1\"\n")));
    EXPECT_EQ(readFile(machine.root() / "opt/kelp/rescued/org.app-1-1/data/words"), "words\n");
    EXPECT_EQ(readFile(machine.root() / "usr/bin/org.app"), "foreign\n");
    EXPECT_FALSE(machine.holds("opt/app/org.app"));
    machine.expectArrived({"org.sound", "org.twice"});
    EXPECT_EQ(readFile(machine.root() / "opt/app/org.twice/1-1/etc/org.twice.conf"), "changed\n");
    EXPECT_FALSE(machine.holds("etc/org.twice.conf.rpmsave"));
    EXPECT_TRUE(machine.isStamped());
}

/// Ends a start right behind rpm's erasure, when the journal and the staged trees are all there is.
constexpr const char *killAfterErasure = "launch_killed_at unlink /opt/kelp/tmp/.ballast >/dev/null; ";

TEST_F(TakeOverTest, TheNextStartGoesByRpmAndTheDisk) {
    struct {
        std::string id;
        const char *meanwhile;
        std::string line;
    } const rows[] = {
        {"org.app", "", "[I] Package org.app successfully migrated from RPM to KELP\n"},
        {"org.shared", "rm -r $IMAGE/opt/kelp/tmp/org.shared",
         "[E] Package org.shared is neither in RPM nor in KELP, and nothing of it is left\n"},
        {"org.twice", "put org.twice", "the copy of before is kept in \"/opt/kelp/rescued/org.twice-1-1\"\n"},
        // The erasure had begun and did not end: what is left on the disk is a remnant.
        {"org.linked",
         "put org.linked --justdb; hnum=$(in_image rpm --query --queryformat '%{DBINSTANCE}' org.linked); "
         "sed --in-place \"/^package org.linked$/,/^header/s/^header .* /header $hnum /\" "
         "$IMAGE/var/lib/kelp/takeover.journal",
         "[I] Package org.linked successfully migrated from RPM to KELP\n"},
    };
    const Machine machine;
    machine.run(std::string("add org.app org.shared org.twice org.linked; ") + killAfterErasure);
    for (const auto &row : rows) {
        ASSERT_FALSE(machine.isInRpm(row.id));
        machine.run(row.meanwhile);
    }
    const std::string log = machine.launch();
    for (const auto &row : rows)
        EXPECT_THAT(log, HasSubstr(row.line));
    machine.expectArrived({"org.app", "org.twice", "org.linked", "org.sound"});
    EXPECT_FALSE(machine.holds("var/lib/kelp/takeover.journal"));
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, ATreeWithoutAJournalGoesOnlyWhenRpmHasAllOfIt) {
    const Machine machine;
    machine.run(std::string("add org.app org.shared; ") + killAfterErasure +
                "put org.app --justdb; put org.shared; cd $IMAGE; rm var/lib/kelp/takeover.journal; "
                "mkdir srv/photos; ln -s /srv/photos opt/kelp/rescued; touch srv/photos/1");
    const std::string mine = "[E] The rescue directory is not the package manager's own: /opt/kelp/rescued\n";
    EXPECT_THAT(machine.launch(), HasSubstr(mine + mine));
    machine.expectArrived({"org.shared"});
    for (const char *id : {"org.app", "org.sound"})
        EXPECT_TRUE(machine.holds(std::string("opt/kelp/tmp/") + id + "/data/words")) << id;

    machine.run("rm $IMAGE/opt/kelp/rescued");
    EXPECT_THAT(machine.launch(), HasSubstr("org.app files with mappings: files that it lacks are kept in "
                                            "/opt/kelp/rescued/org.app-1-1\n"));
    machine.expectStay({"org.app"});
    EXPECT_TRUE(machine.holds("opt/kelp/rescued/org.sound-1-1/data/words"));
    EXPECT_FALSE(machine.isStamped());

    machine.run("put org.app --force");
    machine.launch();
    machine.expectArrived({"org.app"});
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, OnlyAJudgementHasAnApplicationStayForGood) {
    const std::string words = "/usr/share/org.sound/words";
    const std::string desktop = "/usr/share/applications/org.sound.desktop";
    const std::tuple<std::string, int, std::string> rows[] = {
        {"openat EIO " + words, 3, words + ": Input/output error, in 3 starts running"},
        {"openat EPERM " + words, 1, words + ": Operation not permitted"},
        {"openat ENOSPC " + words, 9, "waits for the first migration"},
        {"openat EIO " + desktop, 9, "waits for the first migration"},
        {"newfstatat EIO /usr/share/org.sound", 9, "waits for the first migration"},
    };
    for (const auto &[failure, startThatJudges, reason] : rows) {
        const Machine machine;
        for (int start = 1; start <= 3; ++start) {
            machine.run("launch_failing " + failure);
            EXPECT_EQ(machine.isStamped(), start >= startThatJudges) << failure << start;
        }
        machine.expectStay({"org.sound"});
        EXPECT_THAT(machine.run(KELPCTL " status --root $IMAGE || true"), HasSubstr(reason));
    }
}

TEST_F(TakeOverTest, ADatabaseThatIsNotThereIsNoEmptyOne) {
    const std::string unread = "[E] Couldn't read the rpm database";
    const std::string away = "mv $IMAGE/var/lib/rpm $IMAGE/var/lib/away; ";
    const std::string back = "rm -rf $IMAGE/var/lib/rpm; mv $IMAGE/var/lib/away $IMAGE/var/lib/rpm";
    const std::string macros = "echo '%_dbpath /var/lib/rpm' >$IMAGE/etc/rpm/macros; ";
    const std::string skid = "\n[E] Couldn't complete migration: org_to_skid\n";
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {away + "launch", back, unread + ": there is none in /var/lib/rpm" + skid},
        {away + "in_image rpm --initdb; launch", back,
         unread + ": it has no record at all, and nobody knows where org.sound is" + skid},
        {"launch_failing openat EIO /etc/rpm/macros", "",
         unread + ": /etc/rpm/macros: Input/output error" + skid},
        {macros + "echo '%_db_backend nonsense' >>$IMAGE/etc/rpm/macros; launch", macros,
         unread + "\n[E] Couldn't complete migration: rpm_to_kelp\n"},
    };
    const Machine machine;
    for (const auto &[absence, end, line] : rows) {
        EXPECT_THAT(machine.run(absence), HasSubstr(line));
        EXPECT_FALSE(machine.isStamped()) << absence;
        machine.run(end);
        machine.expectStay({"org.sound"});
    }
}

TEST_F(TakeOverTest, WhatCannotBeReadClearsNothingWhileAJournalExists) {
    const char *damage =
        "put org.other; sqlite3 $IMAGE/var/lib/rpm/rpmdb.sqlite \"UPDATE Packages SET blob = "
        "substr(blob, 1, 100) WHERE hnum = (SELECT max(hnum) FROM Packages)\"";
    const Machine machine;
    machine.run(damage);
    EXPECT_THAT(machine.launch(), HasSubstr("[W] The rpm database has records that cannot be read\n"));
    machine.expectArrived({"org.sound"});
    EXPECT_FALSE(machine.holds("var/lib/kelp/.migration_skid_done")) << "it may own what would be moved";

    const Machine killed;
    const std::string journal = "$IMAGE/var/lib/kelp/takeover.journal";
    killed.run(killAfterErasure + ("cp " + journal + " $IMAGE/root"));
    const std::string unreadable = "Couldn't read the take-over journal: /var/lib/kelp/takeover.journal";
    const std::pair<std::string, std::string> rows[] = {
        {"sed --in-place 's|^staging .*|staging /srv/org.sound|' " + journal, unreadable},
        {"sed --in-place '$ d' " + journal, unreadable},
        {"cp $IMAGE/root/takeover.journal " + journal + "; " + damage,
         "The rpm database has records that cannot be read"}};
    for (const auto &[deed, line] : rows) {
        killed.run(deed);
        EXPECT_THAT(killed.launch(),
                    HasSubstr("[E] " + line + "\n[E] Couldn't complete migration: rpm_to_kelp\n"));
        EXPECT_TRUE(killed.holds("opt/kelp/tmp/org.sound/data/words")) << deed;
    }
    EXPECT_FALSE(killed.isStamped());
}

TEST_F(TakeOverTest, ARecordOfWhatTheStoreHoldsGoesOnlyWhenAllIsTheStores) {
    const Machine machine;
    machine.run("add org.app");
    machine.launch();
    const std::string again = "rm $IMAGE/var/lib/kelp/.migration_done; ";
    machine.run(again + "put org.sound --justdb; put org.app-newer --justdb");
    EXPECT_THAT(machine.launch(), HasSubstr("the store holds version 1-1\n"));
    machine.expectArrived({"org.sound"});
    EXPECT_TRUE(machine.isInRpm("org.app"));

    machine.run(again +
                "put org.sound --justdb; in_image ln -sf velura.pkg /opt/app/org.app/current/velura.pkg");
    EXPECT_THAT(machine.launch(), HasSubstr("Couldn't read velura.pkg file of the org.app package\n"));
    machine.expectArrived({"org.sound"});
}

TEST_F(TakeOverTest, OnlyItsOwnTemporaryDirectoryIsCleared) {
    const Machine machine;
    machine.run("cd $IMAGE; mkdir -p home/somebody scratch opt/kelp srv/photos/2024; "
                "ln -s /srv/photos opt/kelp/tmp");
    const auto refusal = HasSubstr("[E] The temporary directory is not the package manager's own: ");
    const auto launchWith = [&](const std::string &setting) {
        machine.run("printf '[kelp]\\ntemp_directory = " + setting + "\\n' | put_file /etc/kelp/kelp.conf");
        return machine.launch();
    };
    for (const char *setting : {"", "/home", "/opt", "/opt/app/tmp", "/opt/kelp/tmp/"}) {
        EXPECT_THAT(launchWith(setting), refusal) << setting;
        machine.expectStay({"org.sound"});
    }
    EXPECT_THAT(launchWith("/scratch"), Not(refusal));
    machine.expectArrived({"org.sound"});
    for (const char *kept : {"home/somebody", "srv/photos/2024"})
        EXPECT_TRUE(machine.holds(kept)) << kept;
}

TEST_F(TakeOverTest, ALateArrivalGetsWhatTheOtherMigrationsDid) {
    const Machine machine;
    machine.run("add_user alice; echo words | put_file /srv/shared/org.example/common/team; "
                "echo '{\"f\": \"/usr/share/common/org.example/x\"}' | "
                "put_file /etc/integrityd/config.d/org.sound.json; "
                "touch $IMAGE/var/lib/kelp/.migration_{skid,integrityd}_done");
    machine.launch();
    machine.expectArrived({"org.sound"});
    EXPECT_TRUE(machine.holds("srv/shared/org.example/KEY/common/team"));
    EXPECT_EQ(readFile(machine.root() / "opt/app/org.sound/1-1/@resources/integrityd.json"),
              "{\"f\": \"/usr/share/common/org.example/KEY/x\"}\n");
}

TEST_F(TakeOverTest, WhoHasNotGotTheLockTouchesNothing) {
    const Machine machine;
    // The first of three cannot lock at all; the second is asked to stop while it waits, for a lock on what
    // it cannot write to.
    EXPECT_THAT(
        machine.run(
            "waits() { launch >$1 9>&- & until grep -q Waiting $1; do sleep 0.05; done; }\n"
            "restrictions=(strace -f -qq -o /dev/null -e inject=flock:error=ENOLCK); launch\n"
            "restrictions=(); kelp=$IMAGE/var/lib/kelp\n"
            "( exec 9>$kelp/store.lock; flock 9; mount --bind -o ro $kelp $kelp\n"
            "waits $IMAGE/tmp/first; pkill -x kelp-launcher; wait; cat $IMAGE/tmp/first; umount $kelp\n"
            "waits $IMAGE/tmp/second; test -e $IMAGE/usr/bin/org.sound -a ! -e $IMAGE/opt/app\n"
            "exec 9>&-; wait )"),
        AllOf(HasSubstr("[E] Couldn't take the lock: /var/lib/kelp/store.lock: No locks available\n"),
              HasSubstr("[E] Asked to stop while another process changes the store: ")));
    machine.expectArrived({"org.sound"});
    EXPECT_EQ(machine.run("stat --format=%a $IMAGE/var/lib/kelp/store.lock"), "600\n");
}

TEST_F(TakeOverTest, NeitherReadersThatGoAwayNorMissingAttributesEndIt) {
    const Machine machine;
    // Both leave: the reader of the log, and the trigger to which rpm tells what it has removed.
    machine.run(
        "put org.deaf; add org.many; "
        "restrictions=(strace -f --seccomp-bpf -qq -o /dev/null -e inject=listxattr:error=EOPNOTSUPP); "
        "launch | head --lines=1");
    machine.expectArrived({"org.sound", "org.many"});
    EXPECT_TRUE(machine.isStamped());
}

} // namespace
