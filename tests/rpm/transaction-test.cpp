#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"

#include "packages.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"

#include <rpm/rpmmacro.h>
#include <rpm/rpmts.h>

namespace {

using namespace Common::Rpm;
using Common::ErrorCode;
using testing::ElementsAre;

/// An rpm database of its own in place of the machine's; nothing but the database is ever touched.
class TransactionTest : public testing::Test {
protected:
    void SetUp() override {
        // Reading the configuration would hide the macro, had it not been read by then.
        const Reader reader(package("bare-one"));
        rpmPushMacro(nullptr, "_dbpath", nullptr, database().c_str(), RMIL_CMDLINE);
        rpm("--initdb");
    }

    void TearDown() override { rpmPopMacro(nullptr, "_dbpath"); }

    std::string database() const { return (directory_.path() / "rpmdb").string(); }

    void rpm(const std::string &arguments) {
        ASSERT_EQ(std::system(("rpm --dbpath '" + database() + "' " + arguments).c_str()), 0) << arguments;
    }

private:
    TemporaryDirectory directory_;
};

TEST_F(TransactionTest, ErasesWhatWasAdded) {
    for (const char *name : {"bare-one", "bare-two"})
        rpm("--force-debian --justdb --nodeps --install '" + package(name).string() + "'");
    Transaction transaction(Transaction::WriteLock);
    transaction.addFlags(RPMTRANS_FLAG_JUSTDB);
    transaction.addFlags(Transaction::NoPlugins); // In addition.
    transaction.forEachInstalled([&](const Reader &reader) { transaction.addErase(reader); });
    transaction.forgetErasures();
    transaction.forEachInstalled([&](const Reader &reader) {
        if (reader.tag(Tag::Name) != "org.example.two")
            transaction.addErase(reader);
    });
    transaction.run();
    std::vector<std::string> names;
    transaction.forEachInstalled([&](const Reader &reader) { names.push_back(reader.tag(Tag::Name)); });
    EXPECT_THAT(names, ElementsAre("org.example.two"));
}

TEST_F(TransactionTest, RefusesAPackageFileAndNeedsTheDatabaseLock) {
    EXPECT_THAT([&] { Transaction(Transaction::WriteLock).addErase(Reader(package("bare-one"))); },
                raises(ErrorCode::Internal, "Couldn't add erase element to the RPM transaction"));
    CapturedOutput complaints(CapturedOutput::Stream::Error);
    std::filesystem::rename(database() + "/.rpm.lock", database() + "/lock");
    std::filesystem::create_directory(database() + "/.rpm.lock");
    const std::string unread = "Couldn't read the rpm database";
    const std::pair<std::string, std::string> rows[] = {
        {database(), "Couldn't begin rpm transaction"},
        {"/dev/null/rpmdb", unread + ": there is none in /dev/null/rpmdb"},
        {"rpmdb", unread + ": rpm's configuration does not say where it is"},
    };
    for (const auto &[path, text] : rows) {
        rpmPushMacro(nullptr, "_dbpath", nullptr, path.c_str(), RMIL_CMDLINE);
        EXPECT_THAT([] { Transaction(Transaction::WriteLock); }, raises(ErrorCode::Internal, text));
        rpmPopMacro(nullptr, "_dbpath");
    }
}

} // namespace
