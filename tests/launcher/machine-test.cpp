// What the rest of the machine can do to the launcher.

#include "image/image-fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class MachineTest : public ImageFixture {
protected:
    std::string run(const std::string &commands) const { return image().run("set -e; " + commands); }
};

TEST_F(MachineTest, AMaskAndACutBindingDoNotOutliveTheirStart) {
    const std::string sources = "sqlite3 $IMAGE/var/lib/trusted-sources/db.sqlite3 ";
    run("launch; rm $IMAGE/var/lib/kelp/.migration_done; " + sources +
        "\"CREATE TRIGGER cut BEFORE INSERT ON sources BEGIN SELECT RAISE(ABORT, 'cut'); END\"; "
        "install_rpms " KELP_RPMS "/org.example.empty.rpm; sign org.example.empty developer K CN=X");
    EXPECT_THAT(run("umask 077; launch"), HasSubstr("[E] cut\n"));
    EXPECT_EQ(run("cd $IMAGE/opt/app && stat -c %a . org.example.empty/1-1 org.example.empty/1-1/velura.pkg"),
              "755\n755\n644\n");
    const std::string policy =
        sources + "\"SELECT data FROM configuration WHERE id = 'missing_source_allowed'\"";
    EXPECT_EQ(run(policy), "1\n") << "with the source there, nobody would set it";
    run(sources + "'DROP TRIGGER cut'; rm $IMAGE/var/lib/kelp/.migration_done; launch");
    EXPECT_EQ(run(sources + "'SELECT * FROM packages'"), "org.example.empty|.no.source.apps\n");
}

TEST_F(MachineTest, NeitherUsersNorPackagesMoveAnybodyElsesData) {
    run("for name in one two hostile; do install_rpms " KELP_RPMS "/org.example.$name.rpm;"
        "    sign org.example.$name developer K_$name CN=X; done;"
        "add_user alice; add_user mallory; add_user eve; in_image useradd --create-home carol; cd $IMAGE;"
        "for path in usr/away/file usr/share/common/acme/data srv/shared/acme/common/team"
        "    home/{alice,eve}/.config/acme/common/theme home/eve/.cache/acme/common/page "
        "home/carol/acme/common/diary home/carol/common/diary;"
        "do echo data | put_file $path; done;"
        "cd home/mallory; mkdir -p .local/share .config/acme;"
        "ln -s /home/carol .cache; ln -s /usr/share .local/share/acme; ln -s /home/carol/common "
        ".config/acme/;"
        "cd ../eve; mkdir .cache/acme/K_one .cache/acme/K_two; ln -s /home/carol/common .config/acme/K_one;"
        "ln -s K_one .config/acme/K_two; for key in one two; do ln -s /home/carol .cache/acme/K_$key/common; "
        "done;"
        "for user in alice mallory eve; do in_image chown -hR $user /home/$user; done;"
        "cd ..; mv alice ../srv/; ln -s ../srv/alice alice");
    const std::string log = run("launch");
    for (const char *place : {"mallory/.cache", "eve/.config", "eve/.cache"})
        EXPECT_THAT(log, HasSubstr("[W] Not moved for a link in the way: \"/home/" + std::string(place) +
                                   "/acme/common/\""));
    EXPECT_THAT(log, Not(HasSubstr("[E]")));
    EXPECT_EQ(run("cd $IMAGE; find usr/away srv/shared home/carol/common home/carol/acme usr/share/common"
                  " home/alice/.config home/mallory/.config home/mallory/.local ! -type d"
                  " | sed 's/K_one\\|K_two/KEY/' | LC_ALL=C sort"),
              "home/alice/.config/acme/KEY/common/theme\n"
              "home/carol/acme/common/diary\n"
              "home/carol/common/diary\n"
              "home/mallory/.config/acme/common\n"
              "home/mallory/.local/share/acme\n"
              "srv/shared/acme/KEY/common/team\n"
              "usr/away/file\n"
              "usr/share/common/acme/KEY/copy.org.example.one\n"
              "usr/share/common/acme/KEY/copy.org.example.two\n"
              "usr/share/common/acme/KEY/data\n"
              "usr/share/common/acme/one/org.example.one\n"
              "usr/share/common/acme/two/org.example.two\n");
    EXPECT_EQ(run("in_image sh -c 'stat -c %U /home/alice/.config/acme/K_*'"), "alice\n");
    EXPECT_THAT(run("cat $IMAGE/opt/app/org.example.hostile/1-1/velura.pkg"),
                AllOf(HasSubstr("id=K_hostile\n"), Not(HasSubstr("orgname")), Not(HasSubstr("other"))));
}

TEST_F(MachineTest, NothingInAnImageCanWriteToTheMachineOfTheTests) {
    for (const std::string path :
         {"/proc/sys/kernel/hostname", "/sys/kernel/mm/transparent_hugepage/enabled", "/dev/kelp"})
        EXPECT_THROW(run("in_image sh -c 'true >>\"$0\"' " + path), std::runtime_error) << path;
}

} // namespace
