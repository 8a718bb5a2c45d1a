#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include "kelp/core/common/rpm/reader.h"
#include "support/error-matcher.h"

#include <rpm/header.h>
#include <rpm/rpmtd.h>

using namespace Validator;

namespace {

using testing::IsEmpty;

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
    const std::size_t count = RpmMeta(reader).files().size();
    std::vector<std::uint32_t> indexes(count);
    EXPECT_THAT(read(indexes).fileNames(), testing::Contains("/usr/bin/service"));
    std::vector<std::vector<std::uint32_t>> refused(4, indexes);
    refused[0].resize(1);
    refused[1].back() = static_cast<std::uint32_t>(count);
    refused[2].back() = ~0U;
    refused[3].resize(count + 1);
    for (const auto &bad : refused)
        EXPECT_THAT([&] { read(bad); },
                    raises(Common::ErrorCode::BadPackageFileFormat, "Couldn't read rpm package"));
}

} // namespace
