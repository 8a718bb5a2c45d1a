#include "kelp/core/kelp/skid/unit-move.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace Core::KELP::SKID;
using testing::HasSubstr;

class UnitMoveTest : public testing::Test {
protected:
    fs::path at(const std::string &path) const { return root.path() / path; }

    /// Makes files, each with its own path as content, and directories, whose paths end in "/".
    void make(const std::string &paths) const {
        std::istringstream words(paths);
        for (std::string path; words >> path;)
            path.ends_with('/') ? void(fs::create_directories(at(path))) : writeFile(at(path), path);
    }

    /// All files, as "path=content" where the two differ, and all empty directories.
    std::string tree() const {
        std::set<std::string> lines;
        for (const auto &entry : fs::recursive_directory_iterator(root.path())) {
            const std::string path = entry.path().lexically_relative(root.path()).string();
            if (entry.is_directory() && fs::is_empty(entry))
                lines.insert(path + "/");
            else if (entry.is_regular_file())
                lines.insert(readFile(entry) == path ? path : path + "=" + readFile(entry));
        }
        std::string text;
        for (const std::string &line : lines)
            text += (text.empty() ? "" : " ") + line;
        return text;
    }

    TemporaryRoot root;
    CapturedOutput out;
};

TEST_F(UnitMoveTest, GoesOnFromWhereverItStoppedAndTakesNothingThatStays) {
    const std::vector<std::string> none, keys = {"K", "K2", "published"};
    const std::string beside = "o/K/common/", inside = "o/common/K/";
    const char *const both = "shouldn't exists concurrently";
    const char *const taken = "[W] Left at its old place, since the new one is taken: ";
    const struct {
        const char *what, *before, *after;
        std::string to;
        const std::vector<std::string> &stays;
        const char *log = "";
        Clash clash = Clash::IsReported;
    } rows[] = {
        // From "o/common/".
        {"nothing", "o/", "o/", beside, none},
        {"all", "o/common/f", "o/K/common/f=o/common/f", beside, none},
        {"killed after the parent", "o/common/f o/K/", "o/K/common/f=o/common/f", beside, none},
        {"empty destination", "o/common/f o/K/common/", "o/K/common/f=o/common/f", beside, none},
        {"both", "o/common/f o/K/common/g", "o/K/common/g o/common/f", beside, none, both},
        {"file in the way", "o/common/f o/K/common", "o/K/common o/common/f", beside, none, both},
        {"merged", "o/common/f o/common/d/g o/common/e/h o/K/common/f o/K/common/d/i",
         "o/K/common/d/g=o/common/d/g o/K/common/d/i o/K/common/e/h=o/common/e/h o/K/common/f o/common/f",
         beside, none, taken, Clash::IsMerged},
        {"merged whole", "o/common/f o/K/common/g", "o/K/common/f=o/common/f o/K/common/g", beside, none, "",
         Clash::IsMerged},
        // Into itself.
        {"all", "o/common/f", "o/common/K/f=o/common/f", inside, none},
        {"set aside", "o/.tmp.common/f", "o/common/K/f=o/.tmp.common/f", inside, none},
        {"and made again", "o/.tmp.common/f o/common/", "o/common/K/f=o/.tmp.common/f", inside, none},
        {"done before", "o/common/f o/common/K/g", "o/common/K/g o/common/f", inside, none},
        {"empty destination", "o/common/f o/common/K/", "o/common/K/f=o/common/f", inside, none},
        {"beside others", "o/common/f o/common/K2/g o/common/published/h",
         "o/common/K/f=o/common/f o/common/K2/g o/common/published/h", inside, keys},
        {"beside what is published there", "o/common/f o/common/K/g", "o/common/K/f=o/common/f o/common/K/g",
         inside, keys},
        {"what exists wins", "o/common/d/f o/common/d/g o/common/K/d/f",
         "o/common/K/d/f o/common/K/d/g=o/common/d/g o/common/d/f", inside, keys, taken},
        {"second key", "o/common/K/f", "o/common/K/f", "o/common/K2/", keys},
        {"set aside with what stays", "o/.tmp.common/f o/.tmp.common/K2/g",
         "o/common/K/f=o/.tmp.common/f o/common/K2/g=o/.tmp.common/K2/g", inside, keys},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.what) + ": " + row.before);
        make(row.before);
        for (const char *time : {"first", "again"}) {
            UnitMove(at("o/common/"), at(row.to), row.stays, row.clash).run();
            EXPECT_EQ(tree(), row.after) << time;
            EXPECT_THAT(out.take(), *row.log ? testing::Matcher<std::string>(HasSubstr(row.log)) : "")
                << time;
        }
        fs::remove_all(at("o"));
    }
}

} // namespace
