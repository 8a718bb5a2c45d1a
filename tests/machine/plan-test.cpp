#include "machine-fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class PlanTest : public OldMachineFixture {};

TEST_F(PlanTest, TheLauncherDoesWhatThePlanSays) {
    const std::string moved = R"("action":"move","reason":null,"bytes":)";
    const std::string staying = R"("action":"stay","reason":)";
    const std::pair<const char *, std::string> rows[] = {
        {"com.example.devices", R"("version":"2.0-7",)" + moved},
        {"org.example.notes", R"("version":"1.4.2-1",)" + moved + "73728}"},
        {"org.example.reader",
         R"("version":"0.9-3",)" + staying + R"("no developer certificate","bytes":null})"},
        {"org.example.ticker",
         R"("version":"3-1",)" + staying + R"("there is no room to take it over","bytes":)"},
    };
    // On a disk of its own the copy of one does not go before the next comes.
    run("mount -t tmpfs -o size=100k none $IMAGE/opt");
    EXPECT_THAT(kelpctl("plan"), HasSubstr("Room: 248 KiB needed, 100 KiB there"));
    run("umount $IMAGE/opt; sqlite3 $(signature_database) \"DELETE FROM certificates WHERE package = "
        "'org.example.reader' AND "
        "cert_group = 1\"");
    // It would fit, but for what rpm needs.
    there("mkdir -p opt/kelp/rescued/org.example.notes; cd usr/share; "
          "truncate --size=5000 org.example.notes/first.txt; cd org.example.ticker; "
          "truncate --size=$(($(stat -fc '%a * %S' /opt) - 1000000)) ticker.conf");
    EXPECT_THAT(
        run("/usr/bin/python3 -c 'import fcntl, os; f = open(\"'$IMAGE'/var/lib/rpm/.rpm.lock\", \"a\"); "
            "fcntl.lockf(f, fcntl.LOCK_EX); os.system(\"" KELPCTL " plan --root $IMAGE 2>&1\")'"),
        HasSubstr("Another process changes the rpm database"));
    there("cd var/lib/rpm; mv .rpm.lock lock; /usr/bin/python3 -c 'import socket; "
          "socket.socket(1).bind(\".rpm.lock\")'");
    EXPECT_THAT(kelpctl("plan"), HasSubstr("Couldn't copy the rpm database"));
    there("cd var/lib/rpm; mv lock .rpm.lock");
    const std::string before = everything();
    const std::string plan = kelpctl("plan --json");
    EXPECT_EQ(run(KELPCTL " plan --json --root $IMAGE"), plan);
    EXPECT_EQ(everything(), before);
    for (const auto &[id, fate] : rows)
        EXPECT_THAT(plan, HasSubstr("{\"id\":\"" + std::string(id) + "\"," + fate)) << plan;

    // What the launcher is going to clear is room.
    there("mkdir -p opt/kelp/tmp/left; truncate --size=1P opt/kelp/tmp/left/file");
    EXPECT_THAT(kelpctl("plan --json"), HasSubstr(R"({"id":"org.example.ticker","version":"3-1",)" + moved));
    EXPECT_THAT(run("rm -r $IMAGE/opt/kelp/tmp; launch || true"),
                HasSubstr("There is no room to take over org.example.ticker package"));
    EXPECT_EQ(run("ls $IMAGE/opt/app"), "com.example.devices\norg.example.notes\n");
    EXPECT_EQ(run("in_image rpm --query --all --queryformat '%{NAME}\\n' | sort"),
              "com.example.phone\nio.velura.dialer\norg.example.reader\norg.example.ticker\n");
}

TEST_F(PlanTest, WhatTheLauncherBeganIsToldAndLeftToIt) {
    run("cp " KELP_RPMS "/samples/org.example.notes.rpm $IMAGE/root; launch_killed_at renameat2 /usr/bin");
    const char *trees = "cd $IMAGE/opt && find -printf '%p %y %m %s %T@\\n' | sort";
    const std::string staged = run(trees);
    EXPECT_THAT(kelpctl("install --repair /root/org.example.notes.rpm"), HasSubstr("is still in rpm"));
    EXPECT_EQ(run(trees), staged);
    run("launch_killed_at unlinkat /usr/share/org.example.notes/qml");
    there("mkdir opt/kelp/tmp/org.example.gone");
    const std::string began = "{\"id\":\"org.example.notes\",\"version\":\"1.4.2-1\",";
    EXPECT_THAT(kelpctl("plan --json"),
                HasSubstr(began + R"("action":"move","reason":"its take-over was begun","bytes":null},)"
                                  R"({"id":"org.example.reader")"));
    EXPECT_THAT(kelpctl("status --json"), HasSubstr(began + R"("state":"unfinished",)"));
    EXPECT_THAT(kelpctl("remove org.example.notes"),
                HasSubstr("is on its way from rpm: systemctl restart kelp-launcher\nstatus 1\n"));
    EXPECT_THAT(kelpctl("install /root/org.example.notes.rpm"), HasSubstr("is still in rpm"));

    const std::string before = run(trees);
    const std::string left = kelpctl("doctor --repair --json");
    EXPECT_THAT(left, AllOf(HasSubstr(R"({"id":"org.example.notes","kind":"staged",)"),
                            HasSubstr(R"({"id":"org.example.gone","kind":"leftover",)"),
                            Not(HasSubstr(R"("repairable":true)"))));
    EXPECT_EQ(run(trees), before);
    run("launch");
    EXPECT_EQ(kelpctl("doctor"), "");
    EXPECT_EQ(kelpctl("doctor org.example.nobody org.example.notes"),
              "kelpctl: this machine knows nothing of org.example.nobody\nstatus 1\n");
}

} // namespace
