#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/common/rpm/file-iterator.h"

#include "packages.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <rpm/rpmmacro.h>

#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace Common::Rpm;
using Common::ErrorCode;
using testing::ElementsAre;
using testing::IsEmpty;

struct Describe {
    std::string operator()(const Directory &kind) const { return octal("dir", kind.permissions); }
    std::string operator()(const RegularFile &kind) const { return octal("file", kind.permissions); }
    std::string operator()(const Symlink &kind) const { return "symlink " + kind.target; }
    std::string operator()(const HardLink &kind) const { return "hardlink " + kind.target; }

    static std::string octal(const char *kind, fs::perms permissions) {
        std::ostringstream text;
        text << kind << ' ' << std::oct << static_cast<unsigned>(permissions);
        return text.str();
    }
};

/// "7 /opt/kinds/link symlink ../up", with a "-" after the index of an entry that is not signable.
template<class Entry>
std::string line(const Entry &entry) {
    return std::to_string(entry.fileIndex) + (entry.signable ? " " : "- ") + entry.path + ' ' +
           std::visit(Describe{}, entry.kind);
}

template<class Iterator>
std::vector<std::string> lines(const Iterator &iterator, const fs::path &stopAt = {}, const auto &...names) {
    std::vector<std::string> result;
    const auto append = [&](const auto &entry) {
        result.push_back(line(entry));
        return entry.path == stopAt;
    };
    iterator.forEach(append, names...);
    return result;
}

/// Calls `use` with the regular file `path` of a package.
template<class Use>
void withFile(const fs::path &file, const fs::path &path, const Use &use) {
    bool found = false;
    ExtractFileIterator(file).forEach([&](const ExtractFileIterator::Entry &entry) {
        if (entry.path != path)
            return false;
        found = true;
        use(std::get<PackedFile>(entry.kind));
        return true;
    });
    EXPECT_TRUE(found) << path;
}

std::string numbers() {
    std::string text;
    for (int i = 1; i <= 30000; ++i)
        text += std::to_string(i) + '\n';
    return text;
}

std::string text(const std::vector<std::uint8_t> &bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(FileIterator, ListsTheHeader) {
    const FileIterator iterator(package("gzip"));
    CapturedOutput log;
    const auto whole = ElementsAre("1- /etc/kinds.conf file 644", "2 /etc/kinds.hook file 744",
                                   "3 /opt/kinds dir 750", "4 /opt/kinds/empty file 600",
                                   "5 /opt/kinds/ghost file 644", "6 /opt/kinds/link symlink ../up",
                                   "7 /opt/kinds/numbers file 755", "8 /opt/kinds/one file 644",
                                   "11 /opt/kinds/words file 644", "12 /opt/kinds/yes file 644");
    EXPECT_THAT(lines(iterator), whole);
    EXPECT_EQ(log.take(), "[W] Unexpected entry type in rpm package\n");
    EXPECT_THAT(lines(iterator, "/etc/kinds.hook"),
                ElementsAre("1- /etc/kinds.conf file 644", "2 /etc/kinds.hook file 744"));
    EXPECT_THAT(lines(iterator), whole) << "a walk after one that was stopped";
    EXPECT_THAT(lines(iterator, {}, FileIterator::Names::All),
                testing::IsSupersetOf({"8 /opt/kinds/one file 644", "9 /opt/kinds/three file 644",
                                       "10 /opt/kinds/two file 644", "13 /opt/kinds/zero file 644"}));
}

TEST(FileIterator, SignsConfigurationWhenTheMacroSaysSo) {
    const FileIterator iterator(package("gzip"));
    for (const auto &[value, expected] :
         {std::pair("1", "1 /etc/kinds.conf file 644"), std::pair("0", "1- /etc/kinds.conf file 644")}) {
        rpmPushMacro(nullptr, "_ima_sign_config_files", nullptr, value, RMIL_CMDLINE);
        EXPECT_THAT(lines(iterator, "/etc/kinds.conf"), ElementsAre(expected));
        rpmPopMacro(nullptr, "_ima_sign_config_files");
    }
}

TEST(ExtractFileIterator, WalksThePayloadWhateverPackedIt) {
    CapturedOutput log;
    for (const char *payload : {"gzip", "xz", "zstd", "uncompressed"}) {
        EXPECT_THAT(lines(ExtractFileIterator(package(payload))),
                    ElementsAre("1- /etc/kinds.conf file 644", "2 /etc/kinds.hook file 744",
                                "3 /opt/kinds dir 750", "4 /opt/kinds/empty file 600",
                                "6 /opt/kinds/link symlink ../up", "7 /opt/kinds/numbers file 755",
                                "11 /opt/kinds/words file 644", "8 /opt/kinds/one file 644",
                                "9 /opt/kinds/three hardlink /opt/kinds/one",
                                "10 /opt/kinds/two hardlink /opt/kinds/one", "12 /opt/kinds/yes file 644",
                                "13 /opt/kinds/zero hardlink /opt/kinds/yes"));
        EXPECT_EQ(log.take(), "[W] Unexpected entry type in rpm package\n");
        withFile(package(payload), "/opt/kinds/numbers", [](const PackedFile &file) {
            EXPECT_EQ(file.size(), numbers().size());
            EXPECT_TRUE(text(file.readAll()) == numbers());
        });
        log.take();
    }
    EXPECT_THAT(lines(FileIterator(package("bare-one"))), IsEmpty());
    EXPECT_THAT(lines(ExtractFileIterator(package("bare-one"))), IsEmpty());
}

TEST(ExtractFileIterator, GivesAllNamesOfAFileBeforeItStops) {
    CapturedOutput log;
    const std::vector<std::string> seen = lines(ExtractFileIterator(package("gzip")), "/opt/kinds/one");
    ASSERT_GE(seen.size(), 3u);
    EXPECT_THAT(std::vector(seen.end() - 3, seen.end()),
                ElementsAre("8 /opt/kinds/one file 644", "9 /opt/kinds/three hardlink /opt/kinds/one",
                            "10 /opt/kinds/two hardlink /opt/kinds/one"));
}

TEST(PackedFile, IsReadOnceAndNamesTheFileThatCannotBeWritten) {
    const TemporaryDirectory directory;
    const fs::path orphan = directory.path() / "missing" / "out";
    withFile(package("gzip"), "/opt/kinds/words", [&](const PackedFile &file) {
        EXPECT_THAT(
            [&] { file.writeTo(orphan); },
            raises(ErrorCode::Filesystem, "Couldn't open file for writing rpm content: " + orphan.string()));
        EXPECT_THAT([&] { file.writeTo("/dev/full"); },
                    raises(ErrorCode::Filesystem, "Couldn't write rpm package content to /dev/full"));
        EXPECT_THAT([&] { file.skip(); },
                    raises(ErrorCode::Internal, "Couldn't read content from rpm package"));
    });
}

TEST(ExtractFileIterator, RaisesWhereverThePayloadIsCutShort) {
    const TemporaryDirectory directory;
    const fs::path cut = directory.path() / "cut.rpm";
    CapturedOutput log;
    const auto readAll = [](const ExtractFileIterator::Entry &entry) {
        if (const auto *content = std::get_if<PackedFile>(&entry.kind))
            content->readAll();
        return false;
    };
    for (const char *payload : {"gzip", "uncompressed"}) {
        const std::string whole = readFile(package(payload));
        // The headers end before the middle; the last bytes only close the compressed stream.
        for (std::size_t size = whole.size() / 2; size < whole.size() - 100; size += whole.size() / 20) {
            writeFile(cut, whole.substr(0, size));
            EXPECT_THAT([&] { ExtractFileIterator(cut).forEach(readAll); },
                        raises(ErrorCode::Internal, "Couldn't read content from rpm package"))
                << size << " of " << whole.size();
        }
    }
}

} // namespace
