#include "machine-fixture.h"

#include <gmock/gmock.h>

#include <array>
#include <tuple>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::Value;

class SeeTest : public MachineFixture {};

TEST_F(SeeTest, ALookChangesNothing) {
    for (const char *state : {"rm -f var/lib/kelp/registry.lock; touch opt/app/org.example.ticker/next; "
                              "echo >opt/app/org.example.reader/current/velura.pkg",
                              "mkdir -p opt/kelp/rescued; mv opt/app/com.example.devices/2.0-7 "
                              "opt/kelp/rescued; rm -r opt/app"}) {
        there(state);
        const std::string before = everything();
        run("for look in status plan list 'info org.example.notes' 'files org.example.reader'"
            "    'owner /usr/bin/org.example.notes' history sources doctor;"
            "do in_image kelpctl $look || true; " KELPCTL " $look --root $IMAGE || true; done");
        EXPECT_EQ(everything(), before);
    }
}

TEST_F(SeeTest, SaysHowEachApplicationStands) {
    const std::array<const char *, 3> rows[] = {
        {"true", "io.velura.dialer", R"("version":"11.2-1","state":"rpm","reason":"system developer")"},
        {"true", "com.example.phone",
         R"("version":"1.0-1","state":"rpm","reason":"could not be published: )"
         R"(/usr/share/icons/hicolor/86x86/apps/phone.png belongs to io.velura.dialer too")"},
        {"mv opt/app/org.example.reader srv/; ln -s /srv/org.example.reader opt/app", "org.example.reader",
         R"("version":"0.9-3","state":"store",)"
         R"("reason":"its directory is a link, and is neither updated nor removed")"},
        {"rm -r usr/bin/com.example.devices usr/share/com.example.devices", "com.example.devices",
         R"("version":"2.0-7","state":"damaged","reason":"2 published files are missing")"},
        {"truncate -s -1 opt/app/com.example.devices/current/symlink.list", "com.example.devices",
         R"("version":"2.0-7","state":"damaged","reason":"its list of published files is missing or torn")"},
        {"rm opt/app/com.example.devices/current/symlink.list", "com.example.devices",
         R"("version":"2.0-7","state":"damaged","reason":"its list of published files is missing or torn")"},
        {"rm opt/app/com.example.devices/current/velura.pkg", "com.example.devices",
         R"("version":"2.0-7","state":"damaged","reason":"its descriptor cannot be read, or its version is gone")"},
        {"touch opt/app/com.example.devices/current/publication.plan", "com.example.devices",
         R"("version":"2.0-7","state":"unfinished","reason":"its publication was begun and not completed")"},
        {"rm -r opt/app/com.example.devices; mkdir -p opt/kelp/rescued/x; printf "
         "'[general]\nid=com.example.devices\n"
         "version=2.0-7\n[certificate]\nid=k\nsubgroup=mdm\n' >opt/kelp/rescued/x/velura.pkg",
         "com.example.devices",
         R"("version":"","state":"rescued","reason":"its files are in /opt/kelp/rescued/x")"},
        {"rm -r opt/kelp/rescued", "com.example.devices",
         R"("version":"","state":"lost","reason":"installed by the registry, and nowhere")"},
        {"sqlite3 var/lib/trusted-sources/db.sqlite3 \"INSERT INTO packages VALUES('gone', "
         "'.no.source.apps')\"",
         "gone", R"("version":"","state":"lost","reason":"bound to a source, and nowhere")"},
        {"mv var/lib/rpm var/lib/away", "gone",
         R"("version":"","state":"unknown","reason":"bound to a source, and not all could be read that may )"
         R"(have it")"},
        {"echo timestamp=1 event=R package=gone keyid=k >>var/lib/kelp/registry", "gone", nullptr},
    };
    EXPECT_EQ(run("in_image env TMPDIR=/proc kelpctl status --check --brief"), "") << "all is well";
    for (const auto &[deed, id, standing] : rows) {
        there(deed);
        const std::string found = "{\"id\":\"" + std::string(id) + "\",";
        const std::string status = kelpctl("status --json");
        if (standing)
            EXPECT_THAT(status, HasSubstr(found + standing + "}")) << deed;
        else
            EXPECT_THAT(status, Not(HasSubstr(found))) << deed;
        EXPECT_EQ(
            Value(kelpctl("status --check --brief"), ContainsRegex(std::string(id) + "(.|\n)*status [12]")),
            standing && !Value(standing, ContainsRegex("state\":\"(rpm|store)")))
            << deed;
    }
    for (const char *look : {"status --check", "plan", "doctor --repair"})
        EXPECT_THAT(kelpctl(look), AllOf(EndsWith("status 2\n"), HasSubstr("there is none in "))) << look;
    for (const char *deed : {"install --dry-run /etc/passwd", "remove gone"})
        EXPECT_THAT(kelpctl(deed), HasSubstr("Couldn't read the rpm database: there is none in ")) << deed;
    there("rpm --initdb; sed -i '/com.example.devices/{h;s/event=./event=R/p;x}' var/lib/kelp/registry");
    EXPECT_THAT(kelpctl("plan"), HasSubstr("nobody knows where com.example.devices is"));
    there("mkdir -p opt/kelp/rescued/com.example.devices");
    EXPECT_THAT(kelpctl("plan"), HasSubstr("nobody knows where com.example.phone is"));
}

TEST_F(SeeTest, ADamagedFileCostsWhatItAloneTells) {
    const std::string isNone = ": file is not a database";
    const std::tuple<std::string, std::string, std::vector<const char *>> rows[] = {
        {"/var/lib/trusted-sources/db.sqlite3", isNone, {"status", "list", "info org.example.notes"}},
        {"/var/lib/rpm/rpmdb.sqlite", ": Couldn't read the rpm database", {"status"}},
        {"/var/lib/package-signatures/signatures.sqlite3", isNone, {"status"}},
    };
    // librpm forgets the handle of a database that is none, which the sanitizers' leak check takes for ours.
    const auto look = [&](const std::string &arguments) {
        return run("in_image env ASAN_OPTIONS=detect_leaks=0 kelpctl " + arguments + " || echo status $?");
    };
    for (const auto &[file, told, looks] : rows) {
        const auto isTold = AllOf(HasSubstr(file + told + "; see \"A database that"),
                                  EndsWith("\nstatus 2\n"), Not(HasSubstr("/tmp/")));
        there("cp " + file + " /root/kept; head -c 9000 /dev/zero >" + file +
              "; rm usr/bin/org.example.notes");
        for (const char *words : looks)
            EXPECT_THAT(look(words), AllOf(isTold, HasSubstr("1.4.2-1"), Not(HasSubstr("lost")))) << words;
        EXPECT_THAT(look("doctor --repair"),
                    AllOf(isTold, HasSubstr("missing: /usr/bin/org.example.notes mended")));
        EXPECT_THAT(look("doctor"), AllOf(isTold, Not(HasSubstr("org.example"))));
        there("cp /root/kept " + file);
    }
    // What rpm cannot tell is neither lost nor given up.
    there("sqlite3 var/lib/rpm/rpmdb.sqlite \"UPDATE Packages SET blob = substr(blob, 1, 100) WHERE hnum IN "
          "(SELECT hnum FROM Name WHERE key = 'io.velura.dialer')\" "
          // Of a record with a name and a file without a directory.
          "\"INSERT INTO Packages VALUES(77, "
          "x'000000020000000a000003e80000000600000000000000010000045d000000080000"
          "000800000001' || 'org.odd' || x'007800')\"; sqlite3 "
          "var/lib/trusted-sources/db.sqlite3 "
          "\"INSERT INTO packages VALUES('io.velura.dialer', '')\"");
    const std::string unread = "/var/lib/rpm/rpmdb.sqlite: Couldn't read the rpm database: it has records";
    EXPECT_THAT(kelpctl("status"), AllOf(HasSubstr(unread), ContainsRegex("dialer +unknown"),
                                         ContainsRegex("phone +1.0-1 +rpm"), EndsWith("status 2\n")));
    EXPECT_THAT(kelpctl("remove io.velura.dialer"), AllOf(HasSubstr(unread), EndsWith("status 1\n")));
    // Nobody knows then to which source to bind. An application without its certificate is in rpm all the
    // same.
    there("rm /var/lib/package-signatures/*; sqlite3 /var/lib/trusted-sources/db.sqlite3 'DELETE FROM "
          "packages' \"INSERT INTO packages VALUES('com.example.phone', '.no.source.apps')\"");
    EXPECT_THAT(look("status"), ContainsRegex("phone +1.0-1 +rpm"));
    for (const char *words : {"status", "doctor --repair"})
        EXPECT_THAT(look(words), AllOf(HasSubstr("signatures.sqlite3: there is none; see \"A database that"),
                                       EndsWith("\nstatus 2\n"), Not(HasSubstr("bound:"))));
    there("mkdir opt/app/photos; echo x >var/lib/kelp/takeover.journal");
    EXPECT_THAT(kelpctl("status"), HasSubstr("org.example.reader   0.9-3    store"));
    there("rm var/lib/kelp/takeover.journal; head -c 9000 /dev/zero >/var/lib/trusted-sources/db.sqlite3");
    EXPECT_THAT(look("remove org.example.ticker"), HasSubstr("but its binding to a source stays: "));
    there("rm -r var/lib/trusted-sources");
    EXPECT_THAT(look("remove org.example.reader"), EndsWith("org.example.reader removed\n"));
    // Before the first writer the old switch counts. A list that is missing says nothing.
    there("mkdir -p var/lib/trusted-sources; cd var/lib/trusted-sources; sqlite3 db.sqlite3 'CREATE TABLE "
          "configuration(id, data)' \"INSERT INTO configuration VALUES('version', 1), ('required', 0)\"; "
          "mv /opt/app/org.example.notes/current/symlink.list /root");
    EXPECT_THAT(kelpctl("policy"), HasSubstr("missing-source allow\n"));
    EXPECT_THAT(kelpctl("files org.example.notes"), EndsWith("status 2\n"));
}

TEST_F(SeeTest, TellsWhatIsOnRecordToWhoeverMayKnow) {
    const std::pair<const char *, const char *> rows[] = {
        {"owner /usr/bin/org.example.notes", "org.example.notes 1.4.2-1\n"},
        {"--root / owner /opt/app/org.example.notes/current/bin/gone", "org.example.notes 1.4.2-1\n"},
        {"owner /usr/share/org.example.notes/", "org.example.notes 1.4.2-1\n"},
        {"owner /opt/app/org.example.notes/9-1/x",
         "kelpctl: no application has published /opt/app/org.example.notes/9-1/x\nstatus 1\n"},
        {"owner /bin", "kelpctl: no application has published /bin\nstatus 1\n"},
        {"files org.example.ticker", "kelpctl: Package org.example.ticker not installed\nstatus 1\n"},
    };
    there("ln -sfn /srv opt/app/org.example.ticker/current; mkdir opt/app/org.example.notes/9-1");
    for (const auto &[arguments, answer] : rows)
        EXPECT_EQ(kelpctl(arguments), answer);

    // What a killed writer has written does not count.
    there("cd var/lib/trusted-sources; sqlite3 db.sqlite3 'PRAGMA synchronous=OFF; BEGIN' 'DELETE FROM "
          "packages' '.shell cp db.sqlite3-journal kept' COMMIT; mv kept db.sqlite3-journal");
    EXPECT_THAT(kelpctl("info org.example.notes --json"), HasSubstr("\"source\":\"c11e"));

    run("chmod 700 $IMAGE/var/lib/kelp $IMAGE/var/lib/trusted-sources");
    const std::string asUser = "in_image setpriv --reuid 1000 --regid 1000 --clear-groups kelpctl ";
    EXPECT_EQ(run(asUser + "history || echo status $?"),
              "kelpctl: Only root can read /var/lib/kelp/registry\nstatus 2\n");
    EXPECT_EQ(run(asUser + "owner /usr/bin/org.example.notes"), "org.example.notes 1.4.2-1\n");
    EXPECT_EQ(run(asUser + "plan || echo status $?"),
              "kelpctl: Only root can tell what the launcher would do\nstatus 2\n");
    // In the name space of a user all files of root are nobody's: neither a finding nor the opposite.
    const std::string inNameSpace = "mount --rbind $IMAGE /mnt; setpriv --reuid 1000 --regid 1000 "
                                    "--clear-groups /mnt/usr/sbin/kelpctl --root /mnt ";
    EXPECT_THAT(run(inNameSpace + "verify org.example.notes || echo status $?"),
                AllOf(HasSubstr("Only root sees"),
                      HasSubstr("org.example.notes 1.4.2-1: not all could be read\n"),
                      Not(HasSubstr("owner: ")), EndsWith("status 2\n")));
    EXPECT_THAT(run(inNameSpace + "doctor || echo status $?"),
                AllOf(HasSubstr("Only root can examine an image"), EndsWith("status 2\n")));
    there("chmod 700 opt/app/org.example.notes/1.4.2-1/bin opt/app/org.example.reader");
    EXPECT_THAT(
        run(asUser + "list || echo status $?"),
        AllOf(
            ContainsRegex("org.example.notes +1.4.2-1 +\\? +"), ContainsRegex("org.example.reader +\\? +\\?"),
            HasSubstr("Couldn't read directory: /opt/app/org.example.notes/1.4.2-1/bin: Permission denied\n"),
            EndsWith("status 2\n")));

    // Beside a writer, a fault may be half of its change.
    there("rm opt/app/org.example.notes/1.4.2-1/bin/*; echo 1 killed >var/lib/kelp/store.lock");
    for (const std::string look : {"status --check", "doctor", "verify org.example.notes"}) {
        EXPECT_THAT(kelpctl(look), EndsWith("status 1\n")) << look;
        EXPECT_THAT(run("flock $IMAGE/var/lib/kelp/store.lock chroot $IMAGE kelpctl " + look + " || echo $?"),
                    AllOf(HasSubstr("kelpctl: Another process has changed the store"), EndsWith("\n2\n")));
    }

    there("ln -s '/home/alice/My Photos' opt/app/photos; ln -s /homes/1 opt/app/homes; "
          "kelpctl report /root/report");
    EXPECT_THAT(there("stat -c %a root/report; cat root/report/*.txt"),
                AllOf(StartsWith("700\n"), HasSubstr("/opt/app/photos -> <home>\n"),
                      HasSubstr("/opt/app/homes -> /homes/1\n"), HasSubstr("/symlink.list\n"),
                      HasSubstr("== /var/lib/kelp/registry\ntimestamp="), Not(HasSubstr("Photos"))));
    EXPECT_THAT(kelpctl("report /root/report"), HasSubstr("/root/report: File exists\nstatus 2\n"));

    run("printf 'timestamp=1 event=I package=a keyid=\\033[2JK\\377\\n' >$IMAGE/var/lib/kelp/registry");
    EXPECT_THAT(kelpctl("history"), HasSubstr("\\x1b[2JK\\xff"));
    EXPECT_THAT(kelpctl("history --json"), StartsWith("[{\"time\":1,\"event\":\"I\",\"id\":\"a\","
                                                      "\"key\":\"\\u001b[2JK\xef\xbf\xbd\""));
}

} // namespace
