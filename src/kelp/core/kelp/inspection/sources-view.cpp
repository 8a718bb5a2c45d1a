#include "kelp/core/kelp/inspection/sources-view.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/files/scratch-directory.h"
#include "kelp/core/common/i-configuration.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <optional>

namespace Core::KELP {

namespace {

using SQLite::Statement;

std::optional<bool> switchOf(SQLite::Database &database, const char *id) {
    if (!database.tableExists("configuration"))
        return std::nullopt;
    Statement query(database, "SELECT data FROM configuration WHERE id = ?");
    query.bind(1, id);
    return query.executeStep() ? std::optional(query.getColumn(0).getInt64() == 1) : std::nullopt;
}

/// A database of the first version has the opposite switch, until a writer comes. Without either, as after a
/// kill of the first writer, they are refused.
bool isMissingSourceAllowed(SQLite::Database &database) {
    return switchOf(database, "missing_source_allowed")
        .value_or(switchOf(database, "required") == std::optional(false));
}

SourcesView readAll(SQLite::Database &database) {
    SourcesView view;
    view.missingSourceAllowed = isMissingSourceAllowed(database);
    view.webPwaSourceAllowed = switchOf(database, "web_pwa_source_allowed").value_or(false);
    if (!database.tableExists("sources") || !database.tableExists("packages"))
        return view;
    Statement sources(database, "SELECT keyid, subject FROM sources ORDER BY subject DESC");
    while (sources.executeStep())
        view.sources.push_back({sources.getColumn(0).getString(), sources.getColumn(1).getString(), {}});
    Statement packages(database, "SELECT id, source_keyid FROM packages ORDER BY id");
    while (packages.executeStep()) {
        const std::string id = packages.getColumn(0).getString();
        const std::string keyId = packages.getColumn(1).getString();
        view.sourceOf.emplace(id, keyId);
        // A binding without its source is shown too: SQLite enforces foreign keys only on request.
        const auto source = std::ranges::find(view.sources, keyId, &TrustedSources::Source::keyId);
        if (source != view.sources.end())
            source->packages.push_back(id);
    }
    return view;
}

std::filesystem::path journalOf(std::filesystem::path path) {
    return path += "-journal";
}

/// A writer was killed, or is at work, and has a journal. Rolling it back writes, so it happens in a copy.
SourcesView readInterrupted(const std::filesystem::path &path) {
    const Common::ScratchDirectory scratch;
    const std::filesystem::path copy = scratch.path() / path.filename();
    std::filesystem::copy_file(path, copy);
    std::filesystem::copy_file(journalOf(path), journalOf(copy));
    SQLite::Database database(copy.string(), SQLite::OPEN_READWRITE);
    return readAll(database);
}

/// A failure of the machine is no damage: the next look may succeed.
bool isDamage(const std::exception &error) {
    const auto *failure = dynamic_cast<const SQLite::Exception *>(&error);
    constexpr std::array codes = {SQLITE_ERROR, SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_MISMATCH};
    return failure && std::ranges::find(codes, failure->getErrorCode()) != codes.end();
}

} // namespace

SourcesView SourcesView::read(const IConfiguration &configuration) {
    const std::filesystem::path &path = configuration.trustedSourcesDatabasePath();
    Common::requireReadable(path);
    try {
        if (!std::filesystem::exists(path))
            return {};
        // A read-only connection refuses a file with a journal.
        if (std::filesystem::exists(journalOf(path)))
            return readInterrupted(path);
        SQLite::Database database(path.string(), SQLite::OPEN_READONLY);
        return readAll(database);
    } catch (const std::exception &error) {
        throw Common::Error(isDamage(error) ? Common::ErrorCode::Internal : Common::ErrorCode::Filesystem,
                            "Couldn't read the trusted sources database " + path.string() + ": " +
                                error.what());
    }
}

} // namespace Core::KELP
