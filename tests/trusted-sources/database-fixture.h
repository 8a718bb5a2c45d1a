#pragma once

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/trusted-sources/error-category.h"
#include "kelp/core/trusted-sources/sqlite-database.h"
#include "support/captured-output.h"
#include "support/temporary-directory.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gmock/gmock.h>

/// The configured place of the trusted sources in a root of the test's own, and a connection beside the
/// tested one.
class TrustedSourcesTest : public testing::Test {
protected:
    TrustedSourcesTest() {
        std::filesystem::create_directories(file.parent_path());
        out.take();
    }

    Core::TrustedSources::SQLiteDatabase open() {
        return Core::TrustedSources::SQLiteDatabase(configuration);
    }

    SQLite::Database connect() const {
        return SQLite::Database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    }

    void execute(const std::string &sql) const { connect().exec(sql); }

    /// The result of a query, columns parted by "=" and rows by a space.
    std::string rows(const char *sql) const {
        const SQLite::Database database = connect();
        SQLite::Statement query(database, sql);
        std::string text;
        while (query.executeStep())
            for (int i = 0; i < query.getColumnCount(); ++i)
                text += query.getColumn(i).getString() + (i + 1 < query.getColumnCount() ? "=" : " ");
        return text;
    }

    std::string configurationRows() const { return rows("SELECT id, data FROM configuration ORDER BY id"); }

    TemporaryRoot root;
    CapturedOutput out;
    const Core::Configuration configuration;
    const std::filesystem::path file = configuration.trustedSourcesDatabasePath();
};

/// Matches a callable that fails as every operation on trusted sources does, with exactly this text.
inline auto failsWith(const std::string &text) {
    using Core::TrustedSources::ErrorCategory;
    using Core::TrustedSources::ErrorCode;
    return testing::Throws<Common::Error>(testing::AllOf(
        testing::Property("code", &Common::Error::code, ErrorCategory::make(ErrorCode::Internal)),
        testing::Property("what", &Common::Error::what, testing::StrEq(text))));
}
