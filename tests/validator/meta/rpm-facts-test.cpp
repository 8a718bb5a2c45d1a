#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include "kelp/core/common/rpm/reader.h"
#include "support/error-matcher.h"

#include <rpm/header.h>
#include <rpm/rpmtd.h>

using namespace Validator;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

RpmMeta packaged(const std::string &name) {
    return RpmMeta(std::filesystem::path(KELP_RPMS) / (name + ".rpm"));
}

TEST(RpmFacts, AreThoseOfTheHeader) {
    const RpmMeta meta = packaged("sound");
    EXPECT_EQ(meta.name(), "org.example.sound");
    EXPECT_EQ(meta.version(), "1.2");
    EXPECT_EQ(meta.release(), "3");
    EXPECT_EQ(meta.vendor(), "");
    EXPECT_EQ(meta.architecture(), "noarch");
    EXPECT_FALSE(meta.hasScripts());
    EXPECT_THAT(meta.provides(), ElementsAre("mimehandler(text/plain)", "org.example.sound"));
    EXPECT_THAT(meta.conflicts(), IsEmpty());
    EXPECT_THAT(meta.obsoletes(), IsEmpty());
    EXPECT_THAT(meta.requirements(), ElementsAre("libQt5Core.so.5", "libQt5Core.so.5(Qt_5.6)", "libogg.so.0",
                                                 "odd()(64bit)", "qt5-qtwebengine"));
}

TEST(RpmFacts, HoldTheFileListWithDirectoriesAndLinks) {
    const RpmMeta meta = packaged("sound");
    EXPECT_THAT(meta.fileNames(),
                ElementsAre("/usr/bin/org.example.sound", "/usr/share/org.example.sound",
                            "/usr/share/org.example.sound/data", "/usr/share/org.example.sound/data/words",
                            "/usr/share/org.example.sound/link"));
    const FileInfo &link = meta.files().at(4);
    EXPECT_EQ(link.mode, 0120777);
    EXPECT_EQ(link.linkTarget, "data/words");
    EXPECT_EQ(meta.files().at(0).mode, 0100755);

    EXPECT_EQ(meta.files().at(3).user + ' ' + meta.files().at(3).group, "daemon mail");
}

/// A header that a hostile packer changed by hand, which does not ask what types tags have.
class HandMadeHeader {
public:
    explicit HandMadeHeader(Header header = headerNew()) : header_(header, headerFree) {}

    HandMadeHeader &put(std::int32_t tag, const char *text) {
        return put(tag, RPM_STRING_TYPE, const_cast<char *>(text), 1);
    }
    HandMadeHeader &put(std::int32_t tag, std::vector<std::uint32_t> numbers) {
        return put(tag, RPM_INT32_TYPE, numbers.data(), numbers.size());
    }
    RpmMeta read() const { return RpmMeta(Common::Rpm::Reader(header_.get())); }

private:
    HandMadeHeader &put(std::int32_t tag, rpmTagType type, void *data, std::size_t count) {
        rpmtd_s entry{};
        entry.tag = tag;
        entry.type = type;
        entry.data = data;
        entry.count = static_cast<rpm_count_t>(count);
        headerDel(header_.get(), tag);
        EXPECT_NE(headerPut(header_.get(), &entry, HEADERPUT_DEFAULT), 0);
        return *this;
    }

    std::unique_ptr<headerToken_s, decltype(&headerFree)> header_;
};

TEST(RpmFacts, NoticeScriptsOfEveryKindInEveryForm) {
    EXPECT_FALSE(HandMadeHeader().read().hasScripts());
    for (const std::int32_t tag : {1023, 1024, 1025, 1026, 1085, 1086, 1087, 1088, 1151, 1152, 1153, 1154}) {
        EXPECT_TRUE(HandMadeHeader().put(tag, "true").read().hasScripts()) << tag;
        EXPECT_TRUE(HandMadeHeader().put(tag, {7, 8}).read().hasScripts()) << tag;
    }
}

TEST(RpmFacts, AreEmptyWhereTheHeaderLacksThemOrHasOtherTypes) {
    HandMadeHeader header;
    for (const std::int32_t tag : {1000, 1022, 1047, 1049, 1054, 1090})
        header.put(tag, {7});
    for (const RpmMeta &meta : {HandMadeHeader().read(), header.read()}) {
        EXPECT_EQ(meta.name() + meta.version() + meta.release() + meta.vendor() + meta.architecture(), "");
        for (const auto list : {&RpmMeta::provides, &RpmMeta::obsoletes, &RpmMeta::conflicts,
                                &RpmMeta::requirements, &RpmMeta::fileNames})
            EXPECT_THAT((meta.*list)(), IsEmpty());
    }
}

TEST(RpmFacts, RefuseFileListsThatContradictThemselves) {
    constexpr std::int32_t directoryIndexes = 1116;
    const Common::Rpm::Reader reader(std::filesystem::path(KELP_RPMS) / "sound.rpm");
    const auto read = [&](const std::vector<std::uint32_t> &indexes) {
        return HandMadeHeader(headerCopy(reader.header())).put(directoryIndexes, indexes).read();
    };
    EXPECT_THAT(read({0, 0, 0, 0, 0}).fileNames(), testing::Contains("/usr/bin/words"));
    for (const std::vector<std::uint32_t> &indexes :
         {std::vector{0U}, {0U, 0U, 0U, 0U, 9U}, {0U, 0U, 0U, 0U, ~0U}, {0U, 0U, 0U, 0U, 0U, 0U}})
        EXPECT_THAT([&] { read(indexes); },
                    raises(Common::ErrorCode::BadPackageFileFormat, "Couldn't read rpm package"));
}

} // namespace
