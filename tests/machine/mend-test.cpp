#include "machine-fixture.h"

#include <gmock/gmock.h>

#include <array>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using std::string_literals::operator""s;

/// Damage that doctor has to tell: what is done to the machine, in "/", and what it says of it.
struct Damage {
    std::string deed;
    const char *id;
    const char *kind;
    bool isRepairable;
};

class MendTest : public MachineFixture {
protected:
    std::string doctor(const std::string &arguments) const { return kelpctl("doctor " + arguments); }
};

TEST_F(MendTest, MendsWhatLosesNothing) {
    const std::string sources = "sqlite3 var/lib/trusted-sources/db.sqlite3 ";
    // Damage of one round does not touch that of another row in it.
    const std::vector<Damage> rounds[] = {
        {{"rm usr/bin/org.example.notes", "org.example.notes", "missing", true},
         {"rm usr/bin/com.example.devices", "com.example.devices", "missing", true},
         {"rm opt/app/org.example.ticker/current/symlink.list", "org.example.ticker", "unlisted", true},
         {"printf '/usr/bin/com.example.devicesxx\n/usr/bin/' "
          ">>opt/app/com.example.devices/current/symlink.list",
          "com.example.devices", "unlisted", true},
         {"touch opt/app/org.example.reader/current/publication.plan "
          "usr/share/org.example.reader/.kelp-unfinished-copy",
          "org.example.reader", "unfinished-update", true},
         {"mkdir -p opt/app/org.example.gone/1-1/data; "
          "printf 'org.example.gone\\n1-1\\nI\\n' >var/lib/kelp/installation",
          "org.example.gone", "leftover", true},
         {"chmod 700 opt/app", "", "mode", true},
         {"chmod 0 opt/app/org.example.notes/current/bin/org.example.notes", "org.example.notes", "mode",
          true},
         {"chown -h daemon:daemon opt/app/org.example.notes/current/data/program", "org.example.notes",
          "owner", true},
         {"rm -r opt/app/org.example.notes/current/@resources", "org.example.notes", "gone", true},
         {"setfattr -x security.appid opt/app/org.example.reader/current/bin/org.example.reader",
          "org.example.reader", "attribute", true},
         {"chmod u+s opt/app/org.example.reader/current/bin/org.example.reader", "org.example.reader", "mode",
          true},
         {"chmod g+s usr/share/com.example.devices/policy.json", "com.example.devices", "mode", true},
         {"chown daemon usr/share/org.example.reader", "org.example.reader", "owner", true},
         {"chown -h daemon opt/app/com.example.devices/current", "com.example.devices", "owner", true},
         {sources + "'DELETE FROM packages'", "org.example.notes", "unbound", true}},
        {{"sed -i 1s/...$// opt/app/org.example.notes/current/symlink.list", "org.example.notes", "unlisted",
          true},
         {"cd opt/app/org.example.ticker; cp -r 3-1 2-1; sed -i s/3-1/2-1/ 2-1/velura.pkg; cd /",
          "org.example.ticker", "stale-version", true},
         {"ln -s /nowhere opt/app/org.example.reader/next", "org.example.reader", "unfinished-update", true},
         {"printf 'com.example.devices\\n2.0-7\\nU\\n' >var/lib/kelp/installation", "com.example.devices",
          "unfinished-update", true},
         // But not what a dry run that is at work has unpacked.
         {"mkdir -p opt/kelp/install/org.example.ticker opt/kelp/install/org.example.gone.dry-run.1",
          "org.example.ticker", "leftover", true},
         // Copies, a directory made for links, and the store's own files.
         {"chmod 600 usr/bin/com.example.devices", "com.example.devices", "mode", true},
         {"chown daemon usr/bin/com.example.devices", "com.example.devices", "owner", true},
         {"setfattr -x security.appid usr/bin/com.example.devices", "com.example.devices", "attribute", true},
         {"chmod 0 usr/share/org.example.notes", "org.example.notes", "mode", true},
         {"chown daemon opt/app/org.example.notes/current/velura.pkg", "org.example.notes", "owner", true},
         {"chmod 666 opt/app/org.example.ticker/current/contents.list", "org.example.ticker", "mode", true},
         {"rm var/lib/kelp/registry", "org.example.ticker", "unregistered", true},
         {sources + "\"UPDATE packages SET source_keyid='.no.source.apps'\"", "org.example.notes", "unbound",
          true}},
        {{"rmdir opt/kelp/install/*.dry-run.1; > opt/app/org.example.ticker/current/generated.dir.list",
          "org.example.ticker", "unlisted", true},
         {"cd opt/app/com.example.devices/2.0-7; cp -p velura.pkg /root; head -c 40 /root/velura.pkg "
          ">velura.pkg; cd /",
          "com.example.devices", "unreadable-descriptor", true},
         {"printf 'x\\na y\\n' >>var/lib/kelp/registry", "", "unreadable-lines", true},
         {"ln -s /opt/app/org.example.gone/current/bin/fox usr/bin; mkdir -p usr/share/common/o/a; "
          "ln -s /opt/app/org.example.gone/current/common/x usr/share/common/o/a; touch usr/bin/cub; "
          "setfattr -n user.kelp.mapping.target -v /opt/app/org.example.gone/current/bin/cub usr/bin/cub; "
          // At no place to which the table leads from there.
          "ln -s /opt/app/org.example.gone/current/bin/fox usr/share/common/o/fox",
          "org.example.gone", "stray", true},
         {"mv opt/app/org.example.notes/current opt/app/org.example.notes/next", "org.example.notes",
          "unfinished-update", true},
         {"mv opt/app/org.example.reader/current opt/app/org.example.reader/prev", "org.example.reader",
          "unfinished-update", true}},
        {{"cd opt/app/org.example.notes; mv current prev; ln -s /nowhere next; cd /", "org.example.notes",
          "unfinished-update", true},
         {"cmp root/velura.pkg opt/app/com.example.devices/current/velura.pkg; "
          "rm opt/app/com.example.devices/current",
          "com.example.devices", "unfinished-update", true},
         {"[ ! -e usr/share/org.example.reader/.k* ]; cd opt/app/org.example.reader; mkdir 9-1; ln -s 9-1 "
          "next; cd /",
          "org.example.reader", "unfinished-update", true}},
        {{"mkdir -p opt/kelp/rescued && mv opt/app/org.example.ticker/3-1 "
          "opt/kelp/rescued/org.example.ticker-3-1 && "
          "for f in $(cat opt/kelp/rescued/*/symlink.list); do rm $f; done; rm -r opt/app/org.example.ticker",
          "org.example.ticker", "rescued", true},
         // After the line of its removal: to mend what is missing of the package would register it again.
         {"echo org.example.reader >var/lib/kelp/removal; rm usr/bin/org.example.reader; "
          "echo timestamp=1 event=R package=org.example.reader keyid=1 >>var/lib/kelp/registry",
          "org.example.reader", "unfinished-update", true}},
        {{sources + "\"INSERT INTO packages VALUES('org.example.reader', '.no.source.apps')\"",
          "org.example.reader", "orphan-binding", true}},
        // This is left for people.
        {{"chown daemon opt", "", "owner", false},
         {"chmod 700 usr/share/applications", "com.example.devices", "mode", false},
         {"chown daemon usr/share/applications", "com.example.devices", "owner", false},
         {"chmod 777 usr/bin", "com.example.devices", "mode", false},
         {"chgrp daemon opt; chmod g+w opt", "", "mode", false},
         {"echo x >>opt/app/org.example.notes/current/integrityd/org.example.notes.json", "org.example.notes",
          "altered", false},
         {"rm -r opt/kelp/*; mkdir -p srv/2024; ln -s /srv opt/kelp/install; ln -s /srv opt/kelp/rescued; "
          "echo x >>usr/bin/com.example.devices",
          "com.example.devices", "changed", false},
         {"rm usr/bin/org.example.notes; echo x >usr/bin/org.example.notes", "org.example.notes", "foreign",
          false},
         {"rm opt/app/org.example.notes/current/data/first.txt", "org.example.notes", "dead", false},
         {"rm opt/app/com.example.devices/current/data/policy.json usr/share/com.example.devices/policy.json",
          "com.example.devices", "dead", false},
         {"ln -fs /opt/app/com.example.devices/current/manifest/com.example.devices.desktop "
          "usr/share/applications",
          "com.example.devices", "changed", false},
         // A pipe, for whose writer nobody must wait.
         {"(cd opt/app/org.example.ticker/current; rm velura.pkg; mkfifo velura.pkg)", "org.example.ticker",
          "unreadable-descriptor", false},
         {"mkdir opt/app/left; echo timestamp=1 event=R package=left keyid=1 >>var/lib/kelp/registry", "",
          "foreign", false},
         {"echo timestamp=1 event=I package=gone keyid=1 >>var/lib/kelp/registry; " + sources +
              "\"INSERT INTO packages VALUES('gone', '.no.source.apps')\"",
          "gone", "orphan-binding", false},
         {sources + "\"UPDATE packages SET source_keyid='no' WHERE id='org.example.notes'\"",
          "org.example.notes", "unbound", false}},
        // And so is what is somebody else's, or may be.
        {{"ln -s /srv opt/app/photos", "", "foreign", false},
         {"rm opt/kelp/install; mkdir -p opt/kelp/install/photos", "photos", "foreign", false},
         {"mkdir opt/app/org.example.notes/2-1", "org.example.notes", "foreign", false},
         {"rm opt/kelp/rescued; mkdir -p opt/kelp/rescued/phone; sed s/org.example.notes/com.example.phone/ "
          "opt/app/org.example.notes/1.4.2-1/velura.pkg >opt/kelp/rescued/phone/velura.pkg",
          "com.example.phone", "rescued", false},
         {"mkdir -p opt/kelp/rescued/x/data usr/share/org.example.x; touch opt/kelp/rescued/x/data/file; "
          "ln -s nowhere usr/share/org.example.x/file; sed s/org.example.notes/org.example.x/ "
          "opt/app/org.example.notes/1.4.2-1/velura.pkg >opt/kelp/rescued/x/velura.pkg",
          "org.example.x", "rescued", false},
         // None of its files is published: only the installed version is in the way.
         {"mkdir opt/kelp/rescued/old; sed s/1.4.2-1/1.3-1/ opt/app/org.example.notes/1.4.2-1/velura.pkg "
          ">opt/kelp/rescued/old/velura.pkg",
          "org.example.notes", "rescued", false},
         {"cd var/lib/kelp; mkdir left-behind; echo >left-behind/t; cd /", "t", "unfinished-update", false},
         {"cp -a opt/app/org.example.notes/1.4.2-1 opt/app/com.example.devices/; "
          "ln -s 1.4.2-1 opt/app/com.example.devices/next",
          "com.example.devices", "unreadable-descriptor", false},
         {"cd opt/app/org.example.ticker; rm current; ln -s /opt/app/org.example.notes/1.4.2-1 current; cd /",
          "org.example.ticker", "foreign", false}},
        {{"rm opt/app/com.example.devices/next; sed -i 's/^id=[0-9a-f]\\{40\\}/id=0/' "
          "opt/app/com.example.devices/current/velura.pkg",
          "com.example.devices", "unreadable-descriptor", false}},
        {{"cd opt/app/org.example.notes/1.4.2-1; rm -r data; echo >data; cd /", "org.example.notes",
          "unexamined", false},
         // With the key of another developer on record it proves nothing.
         {": >opt/app/com.example.devices/current/velura.pkg; cp var/lib/kelp/registry root; "
          "echo timestamp=2 event=I package=com.example.devices keyid=1 >>var/lib/kelp/registry",
          "com.example.devices", "unreadable-descriptor", false}},
        {{"cd opt/app; rm org.example.notes/1.4.2-1/data; mkdir org.example.notes/1.4.2-1/data; "
          "rm -r org.example.notes/2-1; ln -snf 3-1 org.example.ticker/current; cd /",
          "", "foreign", false},
         // Nor does it with an altered desktop file, which would tell other names.
         {"mv root/registry var/lib/kelp; "
          "sed -i s/OrganizationName=com/OrganizationName=org/ "
          "opt/app/com.example.devices/current/manifest/com.example.devices.desktop",
          "com.example.devices", "unreadable-descriptor", false}},
        // The foreign file of the round before is in its way: to complete it would take both versions.
        {{"cd opt/app/org.example.notes; cp -r 1.4.2-1 9-1; sed -i s/1.4.2-1/9-1/ 9-1/velura.pkg; "
          "ln -s /opt/app/org.example.notes/9-1 next",
          "org.example.notes", "unfinished-update", false},
         {"rm -r /opt/app/org.example.ticker/3-1", "org.example.ticker", "stray", false},
         // rpm has the application: the copy may be all that it has of the file.
         {"touch /usr/bin/den; setfattr -n user.kelp.mapping.target -v "
          "/opt/app/com.example.phone/current/bin/den /usr/bin/den",
          "com.example.phone", "stray", false}},
    };
    for (const auto &round : rounds) {
        std::string deeds;
        for (const Damage &damage : round)
            deeds += damage.deed + " # " + damage.kind + '\n';
        there(deeds);
        const std::string before = doctor("--json");
        const std::string left = doctor("--repair --json");
        EXPECT_EQ(before.find("\"stray\"") == before.npos, deeds.find("# stray") == deeds.npos) << before;
        for (const auto &[deed, id, kind, isRepairable] : round) {
            const std::string found = "{\"id\":\"" + std::string(id) + "\",\"kind\":\"" + kind + "\",";
            EXPECT_THAT(before, AllOf(HasSubstr(found), Not(HasSubstr("\"help\":\"\"")))) << deed;
            if (!isRepairable) {
                EXPECT_THAT(left, AllOf(HasSubstr(found), HasSubstr("\"repairable\":false"),
                                        Not(HasSubstr("\"repairable\":true"))))
                    << deed;
            }
        }
        if (round.front().isRepairable) {
            EXPECT_EQ(left, "{\"findings\":[],\"unlistable\":[]}\n") << before;
        } else {
            EXPECT_THAT(kelpctl("list"), HasSubstr("org.example.notes    1.4.2-1"));
        }
    }
    // What is rescued is the last copy: it stays, also if its files cannot be published halfway.
    // Of two copies the second finds the first one in the store.
    there("cd usr/share/org.example.x; rm file; mount -t tmpfs -o nr_inodes=1 x .; cd /opt/kelp/rescued; "
          "cp -r x y; sed -i s/1.4.2-1/9-1/ y/velura.pkg");
    EXPECT_THAT(doctor("org.example.x --repair"), HasSubstr("/usr/share/org.example.x/file"));
    EXPECT_EQ(there("ls opt/app/org.example.x/1.4.2-1/data; umount usr/share/org.example.x"), "file\n");
    there("rm -r opt/kelp/rescued/y; printf 'org.example.x\\n9-1\\nU' >var/lib/kelp/installation");
    EXPECT_THAT(doctor("org.example.x --repair"), HasSubstr("org.example.x/file mended\n"));
    EXPECT_THAT(kelpctl("history org.example.x --json"), Not(HasSubstr("\"event\":\"U\"")));
    EXPECT_THAT(kelpctl("history com.example.devices --json"), HasSubstr("\"event\":\"U\""));
    EXPECT_EQ(there("grep -c 'timestamp=1 event=R package=org.example.reader' var/lib/kelp/registry"), "1\n");
    // A version whose descriptor could not be read may be whole, and be the only one.
    there("printf 'org.example.x\\n1.4.2-1\\nI\\n' >var/lib/kelp/installation; cd opt/app/org.example.x; "
          "mv current /root/x; cd 1.4.2-1; mv velura.pkg kept; ln -s velura.pkg velura.pkg");
    EXPECT_THAT(doctor("org.example.x --repair"),
                HasSubstr("cannot be read; the files are left as they are"));
    there("cd opt/app/org.example.x; mv 1.4.2-1/kept 1.4.2-1/velura.pkg; mv /root/x current");
    there("cd opt/app; cp -a org.example.notes/1.4.2-1 org.example.ticker/; ln -s 1.4.2-1 "
          "org.example.ticker/next");
    EXPECT_THAT(kelpctl("remove org.example.ticker"), HasSubstr("/next does not lead to a version"));
    there("cd opt/app/org.example.ticker; rm -r next 1.4.2-1");
    // Nobody's list names them any more; and the note of another's installation stays.
    there("printf 'org.example.gone\\n1-1\\nI\\n' >var/lib/kelp/installation; "
          "cd opt/app/com.example.devices; rm current; cp -a 2.0-7 current; "
          "cd ../org.example.notes; rm current; cp -a 1.4.2-1 current; "
          "echo org.example.notes >/var/lib/kelp/removal");
    EXPECT_THAT(kelpctl("remove org.example.ticker com.example.devices"),
                AllOf(HasSubstr("org.example.ticker removed\n"),
                      HasSubstr("org.example.notes/current is somebody else's, and what"),
                      HasSubstr("stays published: /usr/bin/com.example.devices"), EndsWith("status 1\n")));
    EXPECT_EQ(run("cd ${IMAGE%/*}/upper; find usr -path '*org.example.ticker*'; ls -d usr/bin/fox "
                  "usr/bin/cub usr/share/common/o/* var/lib/kelp/installation 2>&-||:"),
              "usr/share/common/o/fox\nvar/lib/kelp/installation\n");
}

TEST_F(MendTest, TellsAndBringsBackWhatWasStaged) {
    const std::string notes = "/opt/app/org.example.notes/1.4.2-1", repair = "install --repair ";
    run("cp " KELP_RPMS "/sound-?.rpm " KELP_RPMS "/samples/org.example.{notes,ticker}.rpm $IMAGE/root; "
        "sign org.example.sound developer K1 CN=D; in_image kelpctl install /root/sound-1.rpm");
    EXPECT_EQ(kelpctl("verify org.example.notes gone"),
              "kelpctl: Package gone not installed\norg.example.notes 1.4.2-1: verified\nstatus 1\n");
    there(
        "rm opt/app/org.example.ticker/current/contents.list; cd " + notes +
        "; echo 'Buy silk.' >data/first.txt; echo a=b >data/notes.conf; rm data/qml/pages/note.qml; "
        "mkdir data/own; echo own >data/own/x; chmod 600 data/qml/main.qml; chown daemon bin; chgrp 1 data; "
        "setfattr -n security.appid -v x integrityd/*; cd icons/hicolor/86x86/apps; ln -fs x *");
    const std::string extra = "  extra: " + notes + "/data/own is on no list\n";
    const std::string found =
        "org.example.notes 1.4.2-1: 9 findings\n" + extra + "  owner: " + notes +
        "/bin belongs to 1:0, and not to 0:0\n  owner: " + notes +
        "/data belongs to 0:1, and not to 0:0\n  altered: " + notes +
        "/data/first.txt has other content\n  changed configuration: " + notes +
        "/data/notes.conf has 4 bytes, and not 11\n  mode: " + notes +
        "/data/qml/main.qml has mode 600, and not 644\n  gone: " + notes +
        "/data/qml/pages/note.qml is gone\n  altered: " + notes +
        "/data/second.txt has other content\n  type: " + notes +
        "/icons/hicolor/86x86/apps/org.example.notes.png is a link, and not a file\n  attribute: " + notes +
        "/integrityd/org.example.notes.json does not carry the application's id as security.appid\n";
    EXPECT_EQ(kelpctl("verify"), "com.example.devices 2.0-7: verified\n" + found +
                                     "org.example.reader 0.9-3: verified\norg.example.sound 1-1: verified\n"
                                     "org.example.ticker 3-1: unlistable: it has no list of contents; "
                                     "kelpctl doctor --repair lists what is there\nstatus 1\n");
    EXPECT_THAT(kelpctl("verify org.example.notes --json"),
                HasSubstr(R"("changed_configuration":[{"id":"org.example.notes")"));
    EXPECT_THAT(doctor("org.example.notes"),
                HasSubstr("is a link, and not a file; kelpctl install --repair FILE\n"));
    const std::pair<std::string, std::string> repairs[] = {
        {"sound-2", "org.example.sound: Version 1-1 is installed, and not 2-1\nstatus 1\n"},
        {"org.example.ticker",
         "org.example.ticker: The installed version has no list of contents that can be read\nstatus 1\n"},
        {"org.example.notes.rpm --dry-run /root/org.example.notes",
         "org.example.notes 1.4.2-1 would be repaired\n"},
        {"org.example.notes", "org.example.notes 1.4.2-1 repaired\n"}};
    for (const auto &[file, answer] : repairs) {
        EXPECT_THAT(kelpctl("verify org.example.notes"), testing::StartsWith(found)) << file;
        EXPECT_THAT(kelpctl(repair + "/root/" + file + ".rpm"), EndsWith(answer));
    }
    EXPECT_EQ(kelpctl("verify org.example.notes"),
              "org.example.notes 1.4.2-1: 1 finding\n" + extra + "  changed configuration: " + notes +
                  "/data/notes.conf has 4 bytes, and not 11\nstatus 1\n");
    EXPECT_EQ(there("cd " + notes + "; cat data/own/x data/notes.conf; ls data; stat -c %h data/first.txt"),
              "own\na=b\nfirst.txt\nlatest.txt\nnotes.conf\nown\nprogram\nqml\nsecond.txt\n2\n");
    // By its list the configuration file was changed before it came here: only the flag tells that.
    there("rm opt/app/org.example.sound/1-1/velura.pkg; cd " + notes +
          "; d=$(sha256sum <data/notes.conf); "
          "sed -i \"s, 11 .* - c.* \\(data/notes\\), 4 ${d%% *} - c-mh \\1,\" contents.list");
    EXPECT_THAT(kelpctl("install --dry-run /root/sound-2.rpm"), HasSubstr("sound already installed, and"));
    EXPECT_THAT(doctor("--repair org.example.sound"), EndsWith("velura.pkg mended\n"));
    // The registry has the key that the descriptor has lost.
    for (const char *damage : {"rm velura.pkg", "sed -i 's/^id=[0-9a-f]*$/id=0/' velura.pkg"}) {
        there("cd " + notes + "; cp velura.pkg /root; " + damage);
        EXPECT_THAT(kelpctl(repair + "/root/org.example.notes.rpm"), EndsWith(repairs[3].second));
        there("cmp root/velura.pkg " + notes + "/velura.pkg; grep a=b " + notes + "/data/notes.conf");
    }
    there("echo org.example.notes >var/lib/kelp/removal");
    EXPECT_THAT(kelpctl(repair + "/root/org.example.notes.rpm"), HasSubstr("Its removal was begun"));
    there("rm var/lib/kelp/removal; mv var/lib/kelp/registry root; sed -i 's/^id=[0-9a-f]*$/id=0/' " + notes +
          "/velura.pkg");
    EXPECT_THAT(kelpctl(repair + "/root/org.example.notes.rpm"), HasSubstr("does not match the developer"));
    there("mv root/registry var/lib/kelp; cp root/velura.pkg " + notes);
    there("cd " + notes + "/data; rm notes.conf; mkfifo notes.conf");
    EXPECT_THAT(kelpctl(repair + "/root/org.example.notes.rpm"), EndsWith(" repaired\n"));
    there("test -f " + notes + "/data/notes.conf");
    EXPECT_THAT(doctor(""),
                AllOf(testing::StartsWith("1 application without a list"), Not(HasSubstr("status"))));
    EXPECT_EQ(doctor("--repair"), "org.example.ticker: contents listed as found\n");
    EXPECT_THAT(kelpctl("verify org.example.ticker"), HasSubstr("3-1: as found on 20"));
    there("touch opt/app/org.example.ticker/3-1/more");
    EXPECT_THAT(kelpctl("verify org.example.ticker"), HasSubstr("3-1: 1 finding, compared with the files as "
                                                                "found on 20"));
    there("rm opt/app/org.example.ticker/3-1/more");
    EXPECT_THAT(kelpctl(repair + "/root/org.example.ticker.rpm"), HasSubstr("only what was found on 20"));
    // Such a list does not prove whose names the desktop file tells.
    there("cd opt/app/org.example.reader/0.9-3; sed -i '1a found 2026-11-26' contents.list; mv velura.pkg x");
    EXPECT_THAT(doctor("org.example.reader"), HasSubstr("the files are left as they are"));
    there("cd opt/app/org.example.reader/0.9-3; mv x velura.pkg");
    there("rpm --force-debian --install --justdb /root/org.example.ticker.rpm");
    EXPECT_THAT(doctor("org.example.ticker"),
                HasSubstr("still-in-rpm: /var/lib/rpm/rpmdb.sqlite has a record of"));
    there("chmod 700 usr/share/org.example.notes " + notes + "/data");
    EXPECT_THAT(doctor("org.example.notes"), HasSubstr("mode: /usr/share/org.example.notes has"));
    EXPECT_THAT(
        run("in_image setpriv --reuid 1000 --regid 1000 --clear-groups kelpctl verify org.example.notes || "
            "echo status $?"),
        AllOf(HasSubstr("/data: Permission denied\n"), EndsWith("status 2\n"), Not(HasSubstr("gone"))));
    there("rm var/lib/trusted-sources/db.sqlite3");
    EXPECT_THAT(doctor("--repair"), HasSubstr("packages without a source are allowed from then on"));
}

/// What is on the machine for the package of the test, its history excepted.
constexpr const char *traces =
    "(cd ${IMAGE%/*}/upper && find . -name '*org.example.sound*' -o -name installation); "
    "sqlite3 $IMAGE/var/lib/trusted-sources/db.sqlite3 \"SELECT * FROM packages "
    "WHERE id = 'org.example.sound'\"";

TEST_F(MendTest, LetsPackagesInAndOut) {
    const std::string refused = "kelpctl: /root/sound-2.rpm: org.example.sound: ";
    const std::string status = "\nstatus 1\n";
    const std::string sign = "sign org.example.sound developer ";
    const std::string certify = "sqlite3 $(signature_database) \"UPDATE certificates SET ";
    const std::string sound = " WHERE package = 'org.example.sound' AND cert_group = 1\"";
    const std::string policy = "in_image kelpctl policy missing-source ";
    const std::string stored = "$IMAGE/opt/app/org.example.sound";
    const std::string descriptor = stored + "/1-1/velura.pkg";
    const std::string conflict =
        refused + "File conflict found when installing the package: " + "/opt/app/org.example.sound";
    const std::string isMount = ".rpm: /opt/app/org.example.sound/1-1/own is a mount point\nstatus 2\n";
    const std::array<std::string, 3> rows[] = {
        {"true", "2", refused + "The package does not have a developer's signature" + status},
        {sign + "K1 CN=D; touch $IMAGE/srv/1; ln -s /srv $IMAGE/opt/kelp/install", "2",
         "kelpctl: /root/sound-2.rpm: The unpacking directory is not the package manager's own: "
         "/opt/kelp/install\nstatus 2\n"},
        {"cd $IMAGE/opt/kelp; rm install; mkdir install; ln -s /srv install/org.example.sound", "2",
         "kelpctl: /root/sound-2.rpm: /opt/kelp/install/org.example.sound is no tree of a killed "
         "installation\nstatus 2\n"},
        {"cd $IMAGE; rm opt/kelp/install/*; echo x >var/lib/kelp/takeover.journal", "2",
         "kelpctl: /root/sound-2.rpm: Couldn't read the take-over journal: /var/lib/kelp/takeover.journal; "
         "see \"A journal that cannot be read\" in recovery.md\nstatus 2\n"},
        {"cd $IMAGE; rm var/lib/kelp/takeover.journal; mkdir opt/kelp/install/org.example.sound",
         "--dry-run /root/sound-2.rpm", "org.example.sound 2-1 would be installed\n"},
        {"rmdir $IMAGE/opt/kelp/install/org.example.sound && " + certify + "subgroup = 9" + sound, "2",
         refused + "The package has a developer signature with a disallowed subgroup" + status},
        {certify + "subgroup = 1, system_developer = 1" + sound, "2",
         refused + "Attempt to install a package with system developer signature" + status},
        {certify + "system_developer = 0" + sound + "; echo alien-linux >$IMAGE/etc/rpm/platform", "2",
         refused + "The package architecture does not match the system architecture" + status},
        {"rm $IMAGE/etc/rpm/platform; " + policy + "deny", "2",
         refused +
             "Installation of packages without a source signature is not allowed; "
             "\"kelpctl policy missing-source allow\" would let it in" +
             status},
        {policy + "allow", "1", "org.example.sound 1-1 installed\n"},
        {"rm " + stored + "/current", "--repair /root/sound-1.rpm", "org.example.sound 1-1 repaired\n"},
        {"cd " + stored + "; mv current next; mv 1-1/velura.pkg .", "2",
         conflict + "/next leads to a prepared version; see kelpctl explain unfinished-update" + status},
        // What is mounted is not the application's.
        {"cd " + stored + "; mv velura.pkg 1-1; mv next current; mkdir " + stored +
             "/1-1/own; mount -t tmpfs x " + stored + "/1-1/own; touch " + stored +
             "/1-1/own/x; ! in_image kelpctl remove org.example.sound",
         "2", "kelpctl: /root/sound-2" + isMount},
        {"cd " + stored + "/1-1; umount own; rmdir own; touch own; mount --bind /etc/hostname own",
         "--repair /root/sound-1.rpm", "kelpctl: /root/sound-1" + isMount},
        {"cd " + stored + "/1-1; umount own; rm own; mkdir " + stored + "/2-1", "2",
         conflict + "/2-1 is somebody else's" + status},
        {"rmdir " + stored + "/2-1; mv " + stored + " $IMAGE/srv/; ln -s /srv/org.example.sound " + stored,
         "2", conflict + " is a link" + status},
        {"rm " + stored + "; mv $IMAGE/srv/org.example.sound " + stored +
             "; rm $IMAGE/usr/bin/org.example.sound; echo x >$IMAGE/usr/bin/org.example.sound",
         "2",
         refused +
             "File conflict found when installing the package: /usr/bin/org.example.sound is somebody "
             "else's" +
             status},
        {"ln -sfn /opt/app/org.other/current/bin/a $IMAGE/usr/bin/org.example.sound", "2",
         refused +
             "File conflict found when installing the package: /usr/bin/org.example.sound belongs to "
             "org.other" +
             status},
        {"rm $IMAGE/usr/bin/org.example.sound; in_image kelpctl doctor --repair >/dev/null; " + certify +
             "key_id = 'K2'" + sound,
         "2",
         refused +
             "The developer of the already installed package does not match the developer of the package "
             "being installed" +
             status},
        {"printf '[prev_key_ids]\\n1=K2\\n' >>" + descriptor, "2",
         refused + "The package is signed with a developer key that has been superseded" + status},
        {certify + "key_id = 'K1'" + sound + "; sign org.example.sound client S1 CN=Store", "2",
         "org.example.sound 2-1 installed in place of 1-1\n"},
        {"true", "2", refused + "Package with the same version is already installed" + status},
        // It has a directory where the other version has a file.
        {"true", "3", "org.example.sound 3-1 installed in place of 2-1\n"},
        {"true", "--allow-downgrade /root/sound-2.rpm", "org.example.sound 2-1 installed in place of 3-1\n"},
        {"true", "3", "org.example.sound 3-1 installed in place of 2-1\n"},
        {"true", "2", refused + "Attempt to downgrade the package" + status},
        {"true", "--json /root/sound-3.rpm 2>&-",
         R"({"event":"refused","id":"org.example.sound","version":"3-1","path":"/root/sound-3.rpm",)"
         R"("reason":"org.example.sound: Package with the same version is already installed"})" +
             status},
        {"cd $IMAGE/var/lib/trusted-sources; mv db.sqlite3 db; printf %9000d >db.sqlite3",
         "--allow-downgrade /root/sound-2.rpm",
         "kelpctl: /root/sound-2.rpm: Couldn't read the trusted sources database "
         "/var/lib/trusted-sources/db.sqlite3: file is not a database\nstatus 2\n"},
        {"mv $IMAGE/var/lib/trusted-sources/db{,.sqlite3}; cd $IMAGE/root; cp sound-2.rpm odd.rpm; echo "
         ">>odd.rpm",
         "/root/odd.rpm", "kelpctl: /root/odd.rpm: The payload does not match its digest" + status},
        {"head -c 96 $IMAGE/root/sound-2.rpm >$IMAGE/root/odd.rpm", "/root/odd.rpm /root/none.rpm",
         "[E] /root/odd.rpm: signature hdr size(16): BAD, read returned 0\n"
         "kelpctl: /root/odd.rpm: Couldn't read rpm package: it is cut short\n"
         "kelpctl: /root/none.rpm: Couldn't open rpm package: No such file or directory\nstatus 2\n"},
    };
    const auto strace = [](const std::string &calls, const std::string &effect) {
        return "in_image strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -o /dev/null -e trace=" +
               calls + " -e inject=" + calls + ":" + effect + " ";
    };
    const std::string before = run(traces);
    run("cp " KELP_RPMS "/sound-?.rpm $IMAGE/root; put_file /var/lib/developer-moded/developer-moded.conf "
        "<<<$'[developermode]\\nvalidationEnabled=true'");
    for (const auto &[deed, arguments, answer] : rows) {
        run(deed);
        const std::string files = arguments.size() > 1 ? arguments : "/root/sound-" + arguments + ".rpm";
        EXPECT_EQ(kelpctl("install " + files), answer) << deed;
        if (answer.find("-1 installed") != answer.npos) {
            EXPECT_THAT(doctor(""), IsEmpty()) << deed;
        }
    }
    EXPECT_THAT(
        kelpctl("info org.example.sound --json"),
        HasSubstr("\"event\":\"U\",\"id\":\"org.example.sound\",\"key\":\"K1\",\"previous_keys\":[\"K2\"]"));

    // Nobody else could reach the files while they were judged.
    EXPECT_THAT(run("mkdir -p $IMAGE/var/lib/kelp/registry.next/x; " +
                    strace("fsetxattr,unlinkat,rmdir", "error=EIO") +
                    "kelpctl install --allow-downgrade /root/sound-1.rpm || stat -c %a "
                    "$IMAGE/opt/kelp/install/org.example.sound"),
                EndsWith("\n700\n"));
    EXPECT_THAT(kelpctl("install --allow-downgrade /root/sound-1.rpm"), HasSubstr("see kelpctl doctor"));
    run("rm -r $IMAGE/var/lib/kelp/registry.next; in_image kelpctl doctor --repair");
    // What could not be taken back is remembered, and holds up nobody else.
    run("mount --bind $IMAGE/usr/bin $IMAGE/usr/bin; mount -o remount,bind,ro $IMAGE/usr/bin");
    EXPECT_THAT(kelpctl("install /root/sound-3.rpm"), HasSubstr("/usr/bin: Read-only file system"));
    EXPECT_THAT(kelpctl("remove org.example.sound"),
                AllOf(HasSubstr("It is removed, but not all"), EndsWith(status)));
    EXPECT_THAT(kelpctl("install /root/sound-1.rpm"), HasSubstr("Couldn't take back"));
    // As after a kill: who repeats the command hears that it is done.
    there("echo org.example.ticker >var/lib/kelp/removal");
    EXPECT_THAT(run("in_image strace -E ASAN_OPTIONS=detect_leaks=0 -f --seccomp-bpf -qq -P /opt/app -e "
                    "trace=fsync kelpctl "
                    "remove org.example.ticker"),
                AllOf(HasSubstr("fsync("), HasSubstr("org.example.ticker removed\n")));
    run("umount $IMAGE/usr/bin; in_image kelpctl doctor --repair");
    // To complete an older removal later would remove the new version.
    there("echo org.example.sound >var/lib/kelp/removal");
    EXPECT_THAT(
        run(strace("getdents64", "error=EIO") + "-P /usr/bin kelpctl install /root/sound-1.rpm || true"),
        HasSubstr("org.example.sound: Its removal was begun, and could not be completed"));
    run("in_image kelpctl doctor --repair");
    // A damaged registry that cannot be kept is not replaced either.
    run("cp $IMAGE/var/lib/kelp/registry $IMAGE/root; echo x >>$IMAGE/var/lib/kelp/registry; " +
        strace("link,linkat", "error=EIO") +
        "kelpctl doctor --repair; grep -x x $IMAGE/var/lib/kelp/registry");
    EXPECT_THAT(run(strace("getdents64,newfstatat", "error=EIO") +
                    "-P /usr/share/applications -P /opt/kelp/install "
                    "kelpctl doctor || mv $IMAGE/root/registry $IMAGE/var/lib/kelp"),
                AllOf(HasSubstr("kelpctl: Couldn't look for published files below /usr/share/applications\n"),
                      HasSubstr("  unreadable-lines: "),
                      HasSubstr("  unexamined: /usr/share/applications could ")));
    // What cannot be looked at is not absent: the program would not be published.
    EXPECT_THAT(run(strace("newfstatat", "error=EIO") + "-P /opt/app/org.example.sound/current/bin "
                                                        "kelpctl install /root/sound-1.rpm || true"),
                HasSubstr("kelpctl: /root/sound-1.rpm: Couldn't look at file: "));
    // Nor is a published copy somebody else's for that.
    EXPECT_THAT(run(strace("getxattr,lgetxattr", "error=EIO") +
                    "-P /usr/share/com.example.devices/policy.json "
                    "kelpctl doctor com.example.devices || true"),
                Not(HasSubstr("foreign")));
    EXPECT_EQ(run(traces), before);

    run("put_file /etc/kelp/kelp.conf <<<$'[kelp]\ndatabase_directory=/opt/apps\nhook=x'");
    EXPECT_THAT(doctor("org.example.notes"),
                AllOf(HasSubstr("the key kelp.hook has no effect"), HasSubstr("the store is at /opt/apps")));

    there("rm etc/kelp/kelp.conf; cd opt; mkdir -p kelp/rescued app/com.example.phone/1; mv "
          "app/org.example.reader kelp/rescued; "
          "sqlite3 ../var/lib/trusted-sources/db.sqlite3 \"INSERT INTO packages VALUES('com.example.phone', "
          "'k')\"");
    EXPECT_THAT(kelpctl("remove org.example.reader com.example.phone"),
                HasSubstr("org.example.reader\nkelpctl: com.example.phone: Attempt to remove non existent"));
    run("rm -r $IMAGE/opt/kelp/rescued");
    EXPECT_EQ(kelpctl("remove org.example.reader"), "org.example.reader removed\n");
    EXPECT_THAT(kelpctl("status --check"), Not(HasSubstr("lost")));

    run("mkdir $IMAGE/root/rpm && cp " KELP_RPMS "/samples/org.example.{notes,ticker}.rpm $IMAGE/root/; "
        "install_rpms $IMAGE/root/org.example.ticker.rpm");
    EXPECT_THAT(kelpctl("install /root/org.example.ticker.rpm"), HasSubstr("still in rpm"));
    // With that record the launcher would bring back what is removed, without its files.
    there("rpm --force-debian --install --justdb /root/org.example.notes.rpm");
    EXPECT_THAT(kelpctl("remove org.example.notes"), EndsWith("--justdb org.example.notes" + status));
}

} // namespace
