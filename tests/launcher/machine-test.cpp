// What the rest of the machine can do to the launcher.

#include "image/image-fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

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

} // namespace
