#include "kelp/core/common/rpm/transaction.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/rpm/database.h"
#include "kelp/core/common/rpm/initialise.h"

#include <rpm/rpmcli.h>
#include <rpm/rpmdb.h>
#include <rpm/rpmlog.h>
#include <rpm/rpmmacro.h>
#include <rpm/rpmts.h>
#include <sqlite3.h>

#include <fcntl.h>

#include <cstdlib>
#include <cstring>

namespace Common::Rpm {

static_assert(Transaction::WriteLock == RPMTXN_WRITE);
static_assert(Transaction::NoPlugins == RPMTRANS_FLAG_NOPLUGINS);

namespace {

std::shared_ptr<rpmts_s> makeTransactionSet() {
    requireDatabase();
    std::shared_ptr<rpmts_s> transactionSet(rpmtsCreate(), rpmtsFree);
    // Without the root prefix: rpm's own configuration names the place of its database.
    rpmtsSetRootDir(transactionSet.get(), nullptr);
    return transactionSet;
}

/// Notices whether rpm logs an error while the object lives. The program's own log callback still gets each
/// record.
class ErrorWatch {
public:
    ErrorWatch() : outer_(innermost), reader_(rpmlogSetCallback(notice, this)) { innermost = this; }
    ErrorWatch(const ErrorWatch &) = delete;
    ErrorWatch &operator=(const ErrorWatch &) = delete;
    ~ErrorWatch() {
        innermost = outer_;
        rpmlogSetCallback(reader_, outer_);
    }

    bool sawError() const { return sawError_; }
    bool sawFailedQuery() const { return sawFailedQuery_; }

private:
    static int notice(rpmlogRec record, rpmlogCallbackData data) {
        auto &watch = *static_cast<ErrorWatch *>(data);
        // The dummy database seems to have no records; only this warning tells of it.
        const bool isDummy = std::strstr(rpmlogRecMessage(record), "using dummy database") != nullptr;
        if (rpmlogRecPriority(record) <= RPMLOG_ERR || isDummy)
            watch.sawError_ = true;
        // The log line of a failed query begins with its statement; rpm takes the failure for the end of all
        // records.
        if (std::strncmp(rpmlogRecMessage(record), "SELECT ", 7) == 0)
            watch.sawFailedQuery_ = true;
        return watch.reader_ ? watch.reader_(record, watch.outer_) : RPMLOG_DEFAULT;
    }

    static inline ErrorWatch *innermost = nullptr;
    ErrorWatch *outer_;     ///< The one whose walk looks something up here.
    rpmlogCallback reader_; ///< Of `outer_`, or of the whole program, which takes no data.
    bool sawError_ = false;
    bool sawFailedQuery_ = false;
};

void runAndForget(rpmts transactionSet) {
    const int result = rpmtsRun(transactionSet, nullptr, RPMPROB_FILTER_NONE);
    // After a failure too: otherwise the next run would repeat the same erasures, with scripts.
    rpmtsEmpty(transactionSet);
    if (result < 0)
        throw Error(ErrorCode::Internal, "Couldn't run rpm transaction");
}

/// A SQLite connection that is opened while this object lives does not flush each commit, not even later.
/// librpm commits after each header; the caller flushes the filesystem once, at the end. A power cut before
/// that flush leaves the database whole, but may undo the last commits.
class RelaxedCommits {
public:
    RelaxedCommits() { ::sqlite3_auto_extension(asExtension()); }
    RelaxedCommits(const RelaxedCommits &) = delete;
    RelaxedCommits &operator=(const RelaxedCommits &) = delete;
    ~RelaxedCommits() { ::sqlite3_cancel_auto_extension(asExtension()); }

private:
    using Extension = void (*)();

    static int relax(sqlite3 *database, char **, const struct sqlite3_api_routines *) {
        // A connection that refuses this flushes each commit.
        static_cast<void>(::sqlite3_exec(database, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr));
        return SQLITE_OK;
    }

    /// SQLite takes it in this form. NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
    static Extension asExtension() { return reinterpret_cast<Extension>(relax); }
};

void openDatabase(rpmts transactionSet, bool forWriting) {
    const ErrorWatch watch;
    // The run uses this connection, and opens none.
    const auto relaxed = forWriting ? std::make_unique<RelaxedCommits>() : nullptr;
    // A walk would open it too, but would take a failure for one of a record. Opened as a run will open it: a
    // failure to write must not show later, during a take-over.
    if (rpmtsOpenDB(transactionSet, forWriting ? O_RDWR | O_CREAT : O_RDONLY) != 0 || watch.sawError())
        throw Error(ErrorCode::Internal, "Couldn't read the rpm database");
}

std::filesystem::path expanded(const char *macro) {
    initialise();
    // Before rpm has read its configuration a macro expands to its own text.
    const std::unique_ptr<char, decltype(&std::free)> text(rpmExpand(macro, nullptr), std::free);
    return text ? text.get() : "";
}

} // namespace

Transaction::Transaction(Flags lock) :
    transactionSet_(makeTransactionSet()), lock_(rpmtxnBegin(transactionSet_.get(), lock), rpmtxnEnd) {
    if (!lock_)
        throw Error(ErrorCode::Internal, "Couldn't begin rpm transaction");
    openDatabase(transactionSet_.get(), lock == WriteLock);
}

void Transaction::addFlags(Flags flags) {
    rpmtsSetFlags(transactionSet_.get(), rpmtsFlags(transactionSet_.get()) | flags);
}

void Transaction::setProgressCallback() {
    if (isOutputTheJournal())
        return;
    constexpr std::uintptr_t display = INSTALL_LABEL | INSTALL_HASH;
    // It takes its flags in the place of a pointer. NOLINTNEXTLINE(performance-no-int-to-ptr)
    rpmtsSetNotifyCallback(transactionSet_.get(), rpmShowProgress, reinterpret_cast<void *>(display));
}

Transaction::Walk Transaction::forEachInstalled(const std::function<void(const Reader &)> &callback) const {
    const ErrorWatch watch;
    const std::shared_ptr<rpmdbMatchIterator_s> packages(
        rpmtsInitIterator(transactionSet_.get(), RPMDBI_PACKAGES, nullptr, 0), rpmdbFreeIterator);
    // An empty database has an iterator too.
    if (!packages)
        throw Error(ErrorCode::Internal, "Couldn't read the rpm database");
    // rpm skips records that it cannot read, and tells only its log: hence the watch.
    while (Header header = rpmdbNextIterator(packages.get()))
        callback(Reader(header));
    if (watch.sawFailedQuery())
        return Walk::Cut;
    return watch.sawError() ? Walk::Damaged : Walk::Complete;
}

Transaction::Record Transaction::lookUp(std::uint32_t instance,
                                        const std::function<void(const Reader &)> &found) const {
    const ErrorWatch watch;
    const std::shared_ptr<rpmdbMatchIterator_s> records(
        rpmtsInitIterator(transactionSet_.get(), RPMDBI_PACKAGES, &instance, sizeof instance),
        rpmdbFreeIterator);
    if (!records)
        throw Error(ErrorCode::Internal, "Couldn't read the rpm database");
    if (const Header record = rpmdbNextIterator(records.get())) {
        if (found)
            found(Reader(record));
        return Record::There;
    }
    return watch.sawError() ? Record::Unreadable : Record::Gone;
}

bool Transaction::isOwned(const std::string &path) const {
    const ErrorWatch watch;
    const std::shared_ptr<rpmdbMatchIterator_s> owners(
        rpmtsInitIterator(transactionSet_.get(), RPMDBI_INSTFILENAMES, path.c_str(), 0), rpmdbFreeIterator);
    return (owners && rpmdbNextIterator(owners.get())) || watch.sawError();
}

void Transaction::addErase(const Reader &package) {
    if (rpmtsAddEraseElement(transactionSet_.get(), package.header(), 0) != 0)
        throw Error(ErrorCode::Internal, "Couldn't add erase element to the RPM transaction");
}

void Transaction::forgetErasures() {
    rpmtsEmpty(transactionSet_.get());
}

void Transaction::run() {
    runAndForget(transactionSet_.get());
}

void Transaction::runOnDatabaseAlone() {
    // Replaces the run's flags, for this run only.
    const rpmtransFlags flags = rpmtsSetFlags(transactionSet_.get(), RPMTRANS_FLAG_JUSTDB | NoPlugins);
    const std::unique_ptr<rpmts_s, std::function<void(rpmts)>> restored(
        transactionSet_.get(), [flags](rpmts set) { rpmtsSetFlags(set, flags); });
    const ErrorWatch watch;
    // After a failed commit this connection shows erasures that its end takes back: looks need another one.
    try {
        runAndForget(transactionSet_.get());
    } catch (const Error &) {
        reopen();
        throw;
    }
    if (watch.sawError())
        reopen();
}

void Transaction::reopen() {
    rpmtsCloseDB(transactionSet_.get());
    openDatabase(transactionSet_.get(), true);
}

std::uint32_t databaseInstance(const Reader &installed) {
    return headerGetInstance(installed.header());
}

std::filesystem::path databaseDirectory() {
    return expanded("%{_dbpath}");
}

} // namespace Common::Rpm
