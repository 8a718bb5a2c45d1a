#include "machine-fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

class PlanTest : public OldMachineFixture {};

TEST_F(PlanTest, TheLauncherDoesWhatThePlanSays) {
    const std::string moved = R"("action":"move","reason":null,"bytes":)";
    const std::string staying = R"("action":"stay","reason":)";
    const std::pair<const char *, std::string> rows[] = {
        {"com.example.devices", R"("version":"2.0-7",)" + moved},
        {"com.example.phone", R"("version":"1.0-1",)" + staying +
                                  R"("/usr/share/icons/hicolor/86x86/apps/phone.png belongs to )"
                                  R"(io.velura.dialer too","bytes":)"},
        {"io.velura.dialer", R"("version":"11.2-1",)" + staying + R"("system developer","bytes":null})"},
        {"org.example.notes", R"("version":"1.4.2-1",)" + moved},
        {"org.example.reader",
         R"("version":"0.9-3",)" + staying + R"("no developer certificate","bytes":null})"},
        {"org.example.ticker",
         R"("version":"3-1",)" + staying + R"("there is no room to take it over","bytes":11258999)"},
    };
    run("sqlite3 $(signature_database) \"DELETE FROM certificates WHERE package = 'org.example.reader' AND "
        "cert_group = 1\"");
    there("truncate --size=1P usr/share/org.example.ticker/ticker.conf");
    const std::string before = everything();
    const std::string plan = kelpctl("plan --json");
    EXPECT_EQ(run(KELPCTL " plan --json --root $IMAGE"), plan);
    EXPECT_EQ(everything(), before);
    for (const auto &[id, fate] : rows)
        EXPECT_THAT(plan, HasSubstr("{\"id\":\"" + std::string(id) + "\"," + fate)) << plan;

    EXPECT_THAT(run("launch || true"), HasSubstr("There is no room to take over org.example.ticker package"));
    EXPECT_EQ(run("ls $IMAGE/opt/app"), "com.example.devices\norg.example.notes\n");
    EXPECT_EQ(run("in_image rpm --query --all --queryformat '%{NAME}\\n' | sort"),
              "com.example.phone\nio.velura.dialer\norg.example.reader\norg.example.ticker\n");
}

} // namespace
