#include "store-fixture.h"

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mending/examination.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/take-over/copy-failures.h"

#include <tuple>

namespace {

using namespace Core::KELP;

using ExaminationTest = StoreFixture;

TEST_F(ExaminationTest, CompletesAndListsWhatIsThePackagesAlone) {
    install("1-1", {{"bin/tool", "x"}});
    prepare("2-1", {});
    const std::tuple<const char *, const char *, const char *, bool> rows[] = {
        {"K1", "K1", "K1", true},
        {"K2 prev-keyids=K1", "K1", "K2", true},
        {"K1", "K1", "K2", false},
        {"K1", "K2", "K1", false},
    };
    for (const auto &[known, current, next, isCompleted] : rows) {
        writeFile(at("var/lib/kelp/registry"),
                  std::string("timestamp=1 event=I package=org.app keyid=") + known + "\n");
        describe("1-1", current);
        describe("2-1", next);
        const StoreView view(configuration);
        const auto findings = examinePackage(configuration, *view.package(id), view.records());
        EXPECT_EQ(findings.at(0).mend != nullptr, isCompleted) << known << current << next;
    }
    std::filesystem::remove(at("usr/bin/tool"));
    writeFile(at("usr/bin/tool"), "a user's own");
    // Nor does it lose one that no row of the table explains, but that leads there.
    std::filesystem::create_symlink(stored("current/bin/tool"), at("usr/odd"));
    writeFile(stored("1-1/symlink.list"), text("usr/odd") + "\n");
    auto findings = examinePublication(configuration, *StoreView(configuration).package(id));
    std::erase_if(findings, [](const Finding &one) { return one.kind == FindingKind::Owner; });
    EXPECT_EQ(findings.size(), 1u) << "no list has somebody else's file";
}

TEST_F(ExaminationTest, ALookThatFailsProvesNothing) {
    install("1-1", {});
    EXPECT_THROW(StoreEntry(resolver, id).objectionTo(std::string(300, 'x')), Common::Error);
    for (const char *path : {"a", "b", "c"})
        EXPECT_FALSE(CopyFailures().note(id, {path, Common::Error(Common::ErrorCode::Filesystem, "", EIO)}));
}

} // namespace
