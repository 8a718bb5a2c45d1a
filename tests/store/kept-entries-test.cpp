#include "kelp/core/kelp/installing/kept-entries.h"

#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;

TEST(KeptEntriesTest, AFileOfSeveralNamesIsKeptUnderAllThatAreInstalled) {
    const TemporaryDirectory trees;
    const fs::path installed = trees.path() / "1", repaired = trees.path() / "2";
    for (const fs::path &tree : {installed, repaired}) {
        writeFile(tree / "data/a", tree == installed ? "changed" : "packed");
        for (const char *name : {"data/b", "data/c", "data/d"})
            fs::create_hard_link(tree / "data/a", tree / name);
    }
    fs::remove(installed / "data/c");
    fs::remove(installed / "data/d");
    writeFile(installed / "data/d", "damaged");
    Core::KELP::KeptEntries kept(installed, repaired);
    kept.add("data/a");
    kept.carryOver();
    EXPECT_TRUE(fs::equivalent(repaired / "data/a", repaired / "data/b"));
    EXPECT_EQ(readFile(repaired / "data/b") + readFile(repaired / "data/c") + readFile(repaired / "data/d"),
              "changedpackedpacked");
}

} // namespace
