#include "image/image-fixture.h"

#include "support/text-file.h"

#include <gmock/gmock.h>

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
    std::string launch() const { return run("set -o pipefail; launch | sed --quiet '/^\\[/p'"); }

    const fs::path &root() const { return image_.root(); }
    bool holds(const std::string &path) const { return fs::exists(fs::symlink_status(root() / path)); }
    bool isStamped() const { return holds("var/lib/kelp/.migration_done"); }

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

/// Ends a start when rpm has forgotten its packages, and nothing is cleared.
constexpr const char *killForgotten = "launch_killed_at unlinkat /usr/bin >/dev/null; ";
/// Ends it when the journal is written, and nothing is placed.
constexpr const char *killStaged = "launch_killed_at fsync /var/lib/kelp; ";
constexpr const char *killPublishing = "launch_killed_at renameat2 /usr/share/org.shared; ";

constexpr const char *damageRecord =
    "put org.other; sqlite3 $IMAGE/var/lib/rpm/rpmdb.sqlite \"UPDATE Packages SET blob = "
    "substr(blob, 1, 100) WHERE hnum = (SELECT max(hnum) FROM Packages)\"";

/// The names under which files of rpm's wait beside their targets.
constexpr const char *waiting = "find $layers/upper/{etc,usr} -name '.kelp-*'";

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
        {"org.one", "put org.one; sign org.one developer '' CN=S",
         "its name, version or key cannot name a directory"},
        {"org.changed",
         "add org.changed; rm $IMAGE/usr/share/org.changed/words; mkdir $IMAGE/usr/share/org.changed/words",
         "/usr/share/org.changed/words is not a file any more"},
        {"org.two", "add org.two; ln -sfT /etc $IMAGE/usr/share/org.two/words",
         "/usr/share/org.two/words is not a file any more"},
        {"org.three", "add org.three; ln -sf ../org.sound/words $IMAGE/usr/share/org.three",
         "/usr/share/org.three/words is not a file any more"},
        {"org.owned",
         "add org.owned; in_image useradd somebody; in_image chown somebody /usr/share/org.owned; "
         "ln -sf /etc/shadow $IMAGE/usr/share/org.owned/words",
         "others than root decide what stands at /usr/share/org.owned/words"},
        {"org.grouped",
         "add org.grouped; cd $IMAGE/usr/share/org.grouped; chmod g+w .; ln -sf /etc/shadow words",
         "others than root decide what stands at /usr/share/org.grouped/words"},
        {"org.blocked", "add org.blocked; mkdir -p $IMAGE/opt/app; touch $IMAGE/opt/app/org.blocked",
         "/opt/app/org.blocked is not a directory"},
        {"org.named", "add org.named",
         "/usr/share/org.named/.kelp-0123456789ab-1 has a name that the take-over uses itself"},
        {"org.same", "add org.same", "two of its files would be data/words"},
        {"org.store", "add org.store", "/velura.pkg.new/x is no place in the package"},
        {"org.descriptor", "add org.descriptor", "/velura.pkg/x is no place in the package"},
        {"org.deep", "add org.deep", "/srv/1/2/3/4"},
        {"org.claim", "add org.claim org.claimed",
         "/usr/lib/qt5/qml/acme.qml would be published by org.claimed and org.claim"},
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

TEST_F(TakeOverTest, AFailureGivesItsApplicationBackAndTheOthersAreInstalledAndBound) {
    for (const char *failure :
         {"launch_failing renameat2 EIO /usr/share/org.app",
          "sqlite3 $(signature_database) 'UPDATE certificates SET subgroup = 4 WHERE rowid = 2'; "
          "launch_killed_at renameat2 /usr/share/applications; launch_failing renameat2 EIO "
          "/usr/share/org.app"}) {
        const Machine machine;
        machine.run("add_user alice; add org.app; echo data | put_file /usr/share/common/org.example/data");
        machine.run(failure);
        machine.expectStay({"org.app"});
        EXPECT_EQ(machine.run(std::string("in_image rpm --verify --nodeps org.app; ") + waiting), "");
        EXPECT_TRUE(machine.holds("usr/share/common/org.example/KEY/data"));
        machine.expectArrived({"org.sound"});
        EXPECT_EQ(machine.run("sqlite3 $IMAGE/var/lib/trusted-sources/db.sqlite3 'SELECT * FROM packages'"),
                  "org.sound|.no.source.apps\n");
        EXPECT_FALSE(machine.isStamped());
        EXPECT_FALSE(machine.holds("var/lib/kelp/takeover.journal"));
        machine.launch();
        machine.expectArrived({"org.app"});
        EXPECT_TRUE(machine.isStamped());
    }
}

TEST_F(TakeOverTest, ApplicationsThatFitOneByOneAreTakenOverOneByOne) {
    const Machine machine;
    machine.run(
        std::string("add org.one org.two org.three org.large; ") + damageRecord +
        "; rm $IMAGE/tmp/*.rpm; "
        "mount -o remount,size=$(($(df --output=used --block-size=1M $layers | tail -n 1) + 17))M $layers");
    EXPECT_THAT(machine.launch(), AllOf(HasSubstr("There is no room to take over org.large package"),
                                        HasSubstr("[W] The rpm database has records that cannot be read\n")));
    EXPECT_FALSE(machine.holds("var/lib/kelp/.migration_skid_done"))
        << "the record may own what would be moved";
    machine.expectArrived({"org.one", "org.two", "org.three", "org.sound"});
    machine.expectStay({"org.large"});
    EXPECT_FALSE(machine.isStamped());

    machine.run("mount -o remount,size=1G $layers");
    EXPECT_THAT(
        machine.run("in_image sh -c 'JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2) /tmp/kelp-launcher'"),
        AllOf(HasSubstr("\n<3>[E] rpmdb: damaged header"), Not(HasSubstr("###"))))
        << "for the journal";
    machine.expectArrived({"org.large"});
    EXPECT_FALSE(machine.isStamped()) << "the record may be an application's";
    machine.run("in_image rpm --rebuilddb; launch");
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, NoScriptRunsAndChangedConfigurationComesAlong) {
    const Machine machine;
    const std::string log =
        machine.run("cd $IMAGE/etc; mount --bind hosts org.sound.conf; add org.scripted; echo changed "
                    ">org.scripted.conf; ln -s /etc/org.scripted.conf systemd/system/enabled; "
                    "launch_killed_at unlinkat /etc/systemd/system");
    const std::string warning = "[W] Unexpected entry type in rpm package\n";
    EXPECT_THAT(log, HasSubstr(warning));
    EXPECT_EQ(log.find(warning), log.rfind(warning)) << "once for the device node";
    machine.launch();
    machine.expectArrived({"org.sound", "org.scripted"});
    EXPECT_EQ(readFile(machine.root() / "opt/app/org.scripted/1-1/etc/org.scripted.conf"), "changed\n");
    for (const char *gone : {"ran", "etc/org.scripted.conf", "etc/systemd/system/enabled"})
        EXPECT_FALSE(machine.holds(gone)) << gone;
    EXPECT_TRUE(machine.isStamped());
}

TEST_F(TakeOverTest, TheNextStartGoesByRpmAndTheDisk) {
    const std::string moved = " successfully migrated from RPM to KELP\n";
    const std::string replaced = " was installed by RPM again, and the copy of before is kept in "
                                 "\"/opt/kelp/rescued/org.twice-1-1.2\"\n";
    const struct {
        const char *kill;
        std::string id;
        const char *meanwhile;
        std::string line;
    } rows[] = {
        {killStaged, "org.shared", "in_image rpm --erase org.shared", moved},
        {killStaged, "org.linked", "in_image rpm --erase org.linked; put org.linked", moved},
        {killStaged, "org.twice", "put org.twice-newer --upgrade", replaced},
        {killPublishing, "org.shared", "in_image rpm --erase org.shared", moved},
        {killPublishing, "org.linked", "in_image rpm --rebuilddb", moved},
        {killPublishing, "org.sound",
         "end() { launch_failing syncfs EIO:when=2 /opt/app; ls $IMAGE/opt/app/*sound; }; end; "
         "in_image cp /usr/bin/org.sound /tmp/x; mv $IMAGE/tmp/x $IMAGE/usr/bin/org.sound; end",
         moved},
        {killPublishing, "org.twice", "put org.twice-newer --upgrade; touch $IMAGE/opt/app/org.twice/mine",
         replaced},
        {killForgotten, "org.shared", "rm -r $IMAGE/opt/app/org.shared",
         " is neither in RPM nor in KELP, and nothing of it is left\n"},
        {killForgotten, "org.linked", "put org.linked --justdb", moved},
        {killForgotten, "org.twice", "put org.twice-newer", replaced},
    };
    for (const char *kill : {killStaged, killPublishing, killForgotten}) {
        const Machine machine;
        machine.run(std::string("mkdir -p $IMAGE/opt/kelp/rescued/org.twice-1-1/kept; "
                                "add org.shared org.linked org.twice; ") +
                    kill);
        for (const auto &row : rows)
            if (row.kill == kill)
                machine.run(row.meanwhile);
        const std::string log = machine.launch();
        for (const auto &row : rows) {
            if (row.kill != kill)
                continue;
            EXPECT_THAT(log, AllOf(HasSubstr("Package " + row.id + row.line), Not(HasSubstr("Failed"))))
                << kill;
            if (row.line == moved)
                machine.expectArrived({row.id});
            EXPECT_FALSE(row.line.starts_with(" is neither") &&
                         fs::is_symlink(machine.root() / "usr/bin" / row.id));
        }
        EXPECT_EQ(machine.holds("opt/kelp/rescued/org.twice-mine"), kill == killPublishing);
        EXPECT_EQ(machine.run(waiting), "");
        EXPECT_FALSE(machine.holds("var/lib/kelp/takeover.journal"));
        EXPECT_TRUE(machine.isStamped());
    }
    const Machine machine;
    machine.run("launch_killed_at unlinkat /etc; rm -r $IMAGE/opt/app/org.sound; launch");
    for (const char *dead : {"usr/bin/org.sound", "var/lib/kelp/takeover.journal"})
        EXPECT_FALSE(machine.holds(dead)) << "rpm's files were cleared before";
    EXPECT_TRUE(machine.holds("var/lib/kelp/registry")) << "it tells that the application is lost";
}

TEST_F(TakeOverTest, WhatCannotBeSettledYetIsKeptAndHoldsNobodyUp) {
    const Machine machine;
    machine.run(std::string("add org.shared org.app; ") + killStaged +
                "echo mine >$IMAGE/opt/app/org.app; in_image rpm --erase org.shared; mkdir -p "
                "$IMAGE/opt/app/org.shared/current; add org.linked; " +
                killForgotten +
                "echo mine >$IMAGE/etc/org.linked.conf; rm $IMAGE/opt/app/org.sound/1-1/velura.pkg; "
                // rpm has forgotten it: a list that cannot be read is written anew.
                "launch_failing openat EIO /opt/app/org.sound/current/symlink.list");
    machine.expectArrived({"org.sound", "org.linked"});
    for (const char *foreign : {"etc/org.linked.conf", "opt/app/org.app"})
        EXPECT_EQ(readFile(machine.root() / foreign), "mine\n");
    EXPECT_TRUE(machine.holds("opt/kelp/tmp/org.shared/data/words"));
    EXPECT_FALSE(machine.isStamped());
    machine.run("rmdir $IMAGE/opt/app/org.shared/current");
    machine.launch();
    machine.expectArrived({"org.shared"});
}

TEST_F(TakeOverTest, AJournalThatSaysTooLittleClearsNothing) {
    const Machine machine;
    machine.run(killForgotten);
    const std::string unreadable = "Couldn't read the take-over journal: /var/lib/kelp/takeover.journal; see "
                                   "\"A journal that cannot be read\" in recovery.md";
    const char *everything = "cd $IMAGE; find opt usr/share/org.sound -printf '%p %i %l\\n' | sort";
    const std::string before = machine.run(everything);
    const std::string edit = "cd $IMAGE/var/lib/kelp; sed --in-place ";
    const std::pair<std::string, std::string> rows[] = {
        {damageRecord, "The rpm database has records that cannot be read"},
        {"cd $IMAGE/var/lib/rpm; page=$(sqlite3 rpmdb.sqlite \"PRAGMA wal_checkpoint(truncate); SELECT "
         "pageno "
         "FROM dbstat WHERE name = 'Packages' AND pagetype = 'leaf'\" | tail -n 1); yes '\377' | "
         "dd of=rpmdb.sqlite bs=4096 seek=$((page - 1)) count=1 conv=notrunc status=none; rm -f "
         "rpmdb.sqlite-*",
         "The rpm database has records that cannot be read"},
        {edit + "'s/^disks [0-9]* [0-9]*/disks 1 2/' takeover.journal",
         "The disks of the store and of the temporary directory are not those of the take-over journal"},
        {edit + "'s|^staging .*|staging /srv/org.sound|' takeover.journal", unreadable},
        {edit + "'s|^staging .*|staging /opt/kelp/tmp/..|' takeover.journal", unreadable},
    };
    for (const auto &[damage, error] : rows) {
        machine.run(damage);
        EXPECT_THAT(machine.launch(),
                    HasSubstr("[E] " + error + "\n[E] Couldn't complete migration: rpm_to_kelp\n"));
        EXPECT_EQ(machine.run(everything), before);
    }
}

TEST_F(TakeOverTest, ATreeWithoutAJournalGoesOnlyWhenRpmHasAllOfIt) {
    const Machine machine;
    machine.run(std::string("add org.app org.shared; ") + killStaged +
                "in_image rpm --erase org.app org.shared org.sound; put org.app --justdb; put org.shared; cd "
                "$IMAGE; rm var/lib/kelp/takeover.journal; cd opt/kelp/tmp; mkdir org.shared.2; echo "
                ">org.shared.2/x; cd $IMAGE; "
                "mkdir srv/photos; ln -s /srv/photos opt/kelp/rescued; touch srv/photos/1");
    const std::string mine = "[E] The rescue directory is not the package manager's own: /opt/kelp/rescued\n";
    EXPECT_THAT(machine.launch(), HasSubstr(mine + mine));
    machine.expectArrived({"org.shared"});
    for (const char *id : {"org.app", "org.sound"})
        EXPECT_TRUE(machine.holds(std::string("opt/kelp/tmp/") + id + "/data/words")) << id;

    machine.run("rm $IMAGE/opt/kelp/rescued; cd $IMAGE/opt/kelp/tmp; mkdir -p .given-up.1/card; "
                "mount -t tmpfs x .given-up.1/card; touch .given-up.1/card/1");
    EXPECT_THAT(machine.launch(), HasSubstr("org.app files with mappings: files that it lacks are kept in "
                                            "/opt/kelp/rescued/org.app-1-1\n"));
    machine.expectStay({"org.app"});
    EXPECT_TRUE(machine.holds("opt/kelp/rescued/org.sound-1-1/data/words"));
    EXPECT_TRUE(machine.holds("opt/kelp/rescued/org.shared.2/x")) << "the tree of another application";
    EXPECT_TRUE(machine.holds("opt/kelp/tmp/.given-up.1/card/1")) << "what is mounted is not ours";
    EXPECT_FALSE(machine.isStamped());

    machine.run("put org.app --force");
    machine.launch();
    machine.expectArrived({"org.app"});
    EXPECT_TRUE(machine.isStamped());

    machine.run(
        "cd $IMAGE; rm var/lib/kelp/.migration_done; cp -r opt/app/org.shared/1-1 opt/kelp/tmp/other; "
        "echo other=1 >>opt/kelp/tmp/other/velura.pkg; launch");
    EXPECT_TRUE(machine.holds("opt/kelp/rescued/org.shared-1-1")) << "it is not the tree of the store";
}

TEST_F(TakeOverTest, OnlyAJudgementHasAnApplicationStayForGood) {
    const std::string words = "/usr/share/org.sound/words";
    const std::string desktop = "/usr/share/applications/org.sound.desktop";
    const std::tuple<std::string, int, std::string> rows[] = {
        {"launch_failing openat ENOSPC " + words, 9, "waits for the first migration"},
        {"launch_failing openat EIO " + desktop, 9, "waits for the first migration"},
        {"launch_failing newfstatat EIO /usr/share/org.sound", 9, "waits for the first migration"},
        {"launch_failing openat EIO " + words, 3, words + ": Input/output error, in 3 starts running"},
        {"launch_failing openat EPERM " + words, 1, words + ": Operation not permitted"},
        {"cd $IMAGE/usr/share; mv -nT org.sound 7; ln -sfT 7 org.sound; chown -h 7 org.sound; launch", 9, ""},
    };
    std::optional<Machine> machine;
    for (const auto &[failure, startThatJudges, reason] : rows) {
        if (!machine || machine->isStamped())
            machine.emplace();
        for (int start = 1; start <= 3; ++start) {
            machine->run(failure);
            EXPECT_EQ(machine->isStamped(), start >= startThatJudges) << failure << start;
        }
        machine->expectStay({"org.sound"});
        EXPECT_THAT(machine->run(KELPCTL " status --root $IMAGE || true"), HasSubstr(reason));
    }
}

TEST_F(TakeOverTest, WhatStaysLeavesNothingStagedAndTheDirectoriesOfBefore) {
    const Machine machine;
    // Delays the look at the file, which is the second that is large, after its copy.
    machine.run("add org.app; (until [[ -e $IMAGE/opt/kelp/tmp/org.app/data/large ]]; do sleep 0.01; done; "
                "echo more >>$IMAGE/usr/share/org.app/large) &\n"
                "restrictions=(strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -o /dev/null -e "
                "trace=chmod -e inject=chmod:delay_enter=200000:when=2); launch; kill $! || true");
    machine.expectStay({"org.app"});

    machine.run("add org.pair org.paired");
    for (const char *id : {"org.pair", "org.paired"}) {
        machine.run(std::string("launch_failing openat EIO /usr/share/") + id + "/words");
        machine.expectStay({"org.pair", "org.paired"});
    }

    const std::string directory = "usr/share/common/acme/one";
    machine.run("add org.example.one; mkdir -p $IMAGE/" + directory);
    const std::string target = "/" + directory + "/org.example.one";
    EXPECT_THAT(machine.run("launch_failing newfstatat EIO " + target),
                HasSubstr("org.example.one files with mappings: " + target + ": Input/output error\n"));
    machine.run("launch_failing renameat2 EIO /usr/share/applications");
    machine.expectStay({"org.example.one"});
    EXPECT_TRUE(machine.holds(directory));
}

TEST_F(TakeOverTest, NothingIsTouchedWithoutADatabaseThatCanBeReadAndHasRoom) {
    const std::string unread = "[E] Couldn't read the rpm database";
    const std::string away = "mv $IMAGE/var/lib/rpm $IMAGE/var/lib/away; ";
    const std::string back = "rm -rf $IMAGE/var/lib/rpm; mv $IMAGE/var/lib/away $IMAGE/var/lib/rpm";
    const std::string macros = "echo '%_dbpath /var/lib/rpm' >$IMAGE/etc/rpm/macros; ";
    const std::string skid = "\n[E] Couldn't complete migration: org_to_skid\n";
    const std::string records = "sqlite3 $IMAGE/var/lib/rpm/rpmdb.sqlite ";
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {away + "launch", back, unread + ": there is none in /var/lib/rpm" + skid},
        {away + "in_image rpm --initdb; launch", back,
         unread + ": it has no record at all, and nobody knows where org.sound is" + skid},
        {"launch_failing openat EIO /etc/rpm/macros", "",
         unread + ": /etc/rpm/macros: Input/output error" + skid},
        {macros + "echo '%_db_backend nonsense' >>$IMAGE/etc/rpm/macros; launch", macros,
         unread + "\n[E] Couldn't complete migration: rpm_to_kelp\n"},
        {"cd $IMAGE/var/lib/rpm; cp rpmdb.* $IMAGE/tmp; mount -t tmpfs -o size=7M small .; "
         "cp $IMAGE/tmp/rpmdb.* $IMAGE/var/lib/rpm; launch",
         "umount $IMAGE/var/lib/rpm", "[E] There is too little free space for rpm: /var/lib/rpm\n"},
        {"mv $IMAGE/var/lib/package-signatures $IMAGE/var/lib/away; in_image /tmp/kelp-launcher --help one",
         "mv $IMAGE/var/lib/away $IMAGE/var/lib/package-signatures",
         "[E] unable to open database file\n[E] Couldn't complete migration: rpm_to_kelp\n"},
        {"echo org.sound | put_file /var/lib/kelp/removal; launch", "rm $IMAGE/var/lib/kelp/removal",
         "org.sound files with mappings: its removal was begun; kelpctl doctor --repair completes it\n"},
        {"mount --bind -o ro $IMAGE/etc $IMAGE/etc; launch", "umount $IMAGE/etc",
         "org.sound files with mappings: /etc: Read-only file system\n"},
        {"mkdir -p $IMAGE/opt/app; mount -t tmpfs other $IMAGE/opt/app; launch", "umount $IMAGE/opt/app",
         "[E] Couldn't move /opt/kelp/tmp/.probe to /opt/app/.probe\n"},
    };
    const Machine machine;
    for (const auto &[absence, end, line] : rows) {
        EXPECT_THAT(machine.run(absence), HasSubstr(line));
        EXPECT_FALSE(machine.isStamped()) << absence;
        machine.run(end);
        machine.expectStay({"org.sound"});
    }
    for (const char *stamp : {"skid", "integrityd"})
        EXPECT_TRUE(machine.holds(std::string("var/lib/kelp/.migration_") + stamp + "_done")) << stamp;
    EXPECT_THAT(machine.run(records + "\"CREATE TRIGGER kept BEFORE DELETE ON Packages BEGIN SELECT "
                                      "RAISE(ABORT, 'kept'); END\"; launch"),
                HasSubstr("Couldn't erase org.sound package from the rpm database\n"));
    EXPECT_THAT(machine.run(records +
                            "'DROP TRIGGER kept'; test -e $IMAGE/var/lib/kelp/takeover.journal; "
                            "add org.app; " +
                            away + "in_image rpm --initdb; launch"),
                HasSubstr("nobody knows where org.app is\n"));
    machine.run(back);
    machine.expectStay({"org.app"});
    machine.launch();
    machine.expectArrived({"org.sound", "org.app"});
}

TEST_F(TakeOverTest, ListsWhatWasStagedAndReadsOnlyWhatIsNotAsPacked) {
    const Machine machine;
    EXPECT_EQ(
        machine.run(
            "add org.app; cd $IMAGE; echo other >etc/org.app.conf; chmod 0 usr/bin/org.app\n"
            "touch --date=@5 usr/share/org.app/words; rm usr/share/org.app/help\n"
            "restrictions=(strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -y -e trace=read -o "
            "/root/reads)\n"
            "launch >/dev/null; grep --only-matching '/opt/kelp/tmp/[^>]*' root/reads | sort -u\n"
            "cd opt/app/org.app/1-1; cut -d ' ' -f 1,2,8- contents.list\n"
            "sed -n 's/^f \\S* \\S* \\S* \\S* \\(\\S*\\) - \\S* /\\1  /p' contents.list | sha256sum --check "
            "--quiet"),
        "/opt/kelp/tmp/org.app/data/words\n/opt/kelp/tmp/org.app/etc/org.app.conf\n"
        "kelp contents\nd 755 ---- bin\nf 0 -s-- bin/org.app\nd 755 ---- data\nf 644 -s--p data/large\n"
        "f 644 -s-h data/words\nd 755 ---- etc\nf 644 c-mh etc/org.app.conf\nd 755 ---- manifest\n"
        "f 644 -s-- manifest/org.app.desktop\nend 9\n");
}

TEST_F(TakeOverTest, ARecordOfWhatTheStoreHoldsGoesOnlyWhenAllIsTheStores) {
    const Machine machine;
    // What a failed installation has left there is not in the way.
    machine.run("add org.app; put org.copied; sign org.copied developer KEY CN=S mdm; echo "
                "$'[general]\nid=org.app\nversion=1-1\n[certificate]\nid=K\nsubgroup=regular' | "
                "put_file /opt/app/org.app/1-1/velura.pkg; touch $IMAGE/opt/app/org.app/1-1/x");
    EXPECT_THAT(machine.run("launch_failing pwrite64 EIO /var/lib/rpm/rpmdb.sqlite-wal"),
                Not(HasSubstr("migrated")));
    machine.launch();
    machine.expectArrived({"org.app"});
    const std::string again = "rm $IMAGE/var/lib/kelp/.migration_done; ";
    machine.run(again + "put org.sound org.copied --justdb; put org.app-newer --justdb");
    EXPECT_THAT(machine.launch(), HasSubstr("the store holds version 1-1\n"));
    machine.expectArrived({"org.sound", "org.copied"});
    machine.run("in_image rpm --query org.app");

    machine.run(again + "put org.sound --justdb; echo mine >$IMAGE/etc/org.sound.conf; launch_failing "
                        "newfstatat EIO /etc/org.sound.conf; in_image rpm --query --quiet org.sound");
    EXPECT_FALSE(machine.isStamped());
    machine.run("rm $IMAGE/etc/org.sound.conf");
    machine.launch();
    machine.run(again +
                "put org.sound --justdb; in_image ln -sf velura.pkg /opt/app/org.app/current/velura.pkg");
    EXPECT_THAT(machine.launch(), HasSubstr("Couldn't read velura.pkg file of the org.app package\n"));
    machine.expectArrived({"org.sound"});
}

TEST_F(TakeOverTest, AWholePackageIsNotRolledBackForAFailedRead) {
    const Machine machine;
    machine.run("launch_killed_at pwrite64 /var/lib/rpm/rpmdb.sqlite-wal; cd $IMAGE/usr/bin; rm org.sound; "
                "echo mine >org.sound; launch_failing openat EIO /opt/app/org.sound/current/symlink.list");
    EXPECT_EQ(readFile(machine.root() / "usr/bin/org.sound"), "mine\n");
}

TEST_F(TakeOverTest, OnlyItsOwnTemporaryDirectoryIsCleared) {
    const Machine machine;
    machine.run("cd $IMAGE; mkdir -p home/somebody scratch opt/kelp srv/photos/2024 srv/empty; "
                "mkdir -p opt/app/.probe/mine; ln -s /srv/photos opt/kelp/tmp; ln -s srv/empty link; mkdir "
                "-m 777 open; mkdir lent; "
                "chown daemon lent; mkdir -m 775 group; chgrp daemon group");
    const auto refusal = HasSubstr("[E] The temporary directory is not the package manager's own: ");
    const auto launchWith = [&](const std::string &setting) {
        machine.run("printf '[kelp]\\ntemp_directory = " + setting + "\\n' | put_file /etc/kelp/kelp.conf");
        return machine.launch();
    };
    for (const char *setting :
         {"", "/home", "/opt", "/opt/app/tmp", "/opt/kelp/tmp/", "/link", "/open", "/lent", "/group"}) {
        EXPECT_THAT(launchWith(setting), refusal) << setting;
        machine.expectStay({"org.sound"});
    }
    EXPECT_THAT(launchWith("/scratch"), Not(refusal));
    machine.expectArrived({"org.sound"});
    for (const char *kept : {"home/somebody", "srv/photos/2024", "opt/app/.probe/mine"})
        EXPECT_TRUE(machine.holds(kept)) << kept;
}

TEST_F(TakeOverTest, ALateArrivalGetsWhatTheOtherMigrationsDid) {
    const Machine machine;
    machine.run("add_user alice; echo words | put_file /srv/shared/org.example/common/team; "
                "echo '{\"f\": \"/usr/share/common/org.example/x\"}' | "
                "put_file /etc/integrityd/config.d/org.sound.json; "
                "touch $IMAGE/var/lib/kelp/.migration_{skid,integrityd}_done");
    // Neither a reader that goes away nor attributes that the disk does not have end it.
    machine.run("restrictions=(strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -o /dev/null -e "
                "trace=listxattr -e inject=listxattr:error=EOPNOTSUPP); "
                "launch | head --lines=1");
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
            "waits() { launch >$1 9>&- & until grep -q Waiting $1; do sleep 0.01; done; }\n"
            "restrictions=(strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -o /dev/null -e "
            "trace=flock -e inject=flock:error=ENOLCK); launch\n"
            "restrictions=(); kelp=$IMAGE/var/lib/kelp\n"
            "( exec 9>$kelp/store.lock; flock 9; mount --bind -o ro $kelp $kelp\n"
            "waits $IMAGE/tmp/first; pkill -x kelp-launcher; wait; cat $IMAGE/tmp/first; umount $kelp\n"
            // Somebody removes the file of a process at work.
            "chmod 700 $kelp; exec 9<$kelp; flock 9; rm $kelp/store.lock\n"
            "waits $IMAGE/tmp/second; test -e $IMAGE/usr/bin/org.sound -a ! -e $IMAGE/opt/app\n"
            "exec 9>&-; wait )"),
        AllOf(HasSubstr("[E] Couldn't take the lock: /var/lib/kelp/store.lock: No locks available\n"),
              HasSubstr("[E] Asked to stop while another process changes the store: ")));
    machine.expectArrived({"org.sound"});
    EXPECT_EQ(machine.run("stat --format=%a $IMAGE/var/lib/kelp/store.lock"), "600\n");
}

} // namespace
