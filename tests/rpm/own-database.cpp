#include "kelp/core/common/rpm/initialise.h"

#include "support/temporary-directory.h"

#include <gtest/gtest.h>
#include <rpm/rpmmacro.h>

#include <filesystem>

namespace {

/// An empty rpm database for a test program. Debian's macro for the place of the machine's database would
/// start two shells each time that it is expanded. It would also make the database in the home directory of
/// the user who runs the tests.
class OwnDatabase : public testing::Environment {
    void SetUp() override {
        Common::Rpm::initialise();
        // For a test that goes on as nobody too: librpm loses memory over a database that it may not open.
        std::filesystem::permissions(directory_.path(), std::filesystem::perms::all);
        rpmPushMacro(nullptr, "_dbpath", nullptr, directory_.path().c_str(), RMIL_CMDLINE);
    }

    TemporaryDirectory directory_;
};

[[maybe_unused]] const testing::Environment *const ownDatabase =
    testing::AddGlobalTestEnvironment(new OwnDatabase);

} // namespace
