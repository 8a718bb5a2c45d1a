#include "kelp/core/common/rpm/transaction.h"

#include "kelp/core/common/error.h"
#include "kelp/core/common/rpm/initialise.h"

#include <rpm/rpmcli.h>
#include <rpm/rpmdb.h>
#include <rpm/rpmts.h>

namespace Common::Rpm {

static_assert(Transaction::WriteLock == RPMTXN_WRITE);
static_assert(Transaction::NoPlugins == RPMTRANS_FLAG_NOPLUGINS);

namespace {

std::shared_ptr<rpmts_s> makeTransactionSet() {
    initialise();
    std::shared_ptr<rpmts_s> transactionSet(rpmtsCreate(), rpmtsFree);
    rpmtsSetRootDir(transactionSet.get(), nullptr);
    return transactionSet;
}

} // namespace

Transaction::Transaction(Flags lock) :
    transactionSet_(makeTransactionSet()), lock_(rpmtxnBegin(transactionSet_.get(), lock), rpmtxnEnd) {
    if (!lock_)
        throw Error(ErrorCode::Internal, "Couldn't begin rpm transaction");
}

void Transaction::addFlags(Flags flags) {
    rpmtsSetFlags(transactionSet_.get(), rpmtsFlags(transactionSet_.get()) | flags);
}

void Transaction::setProgressCallback() {
    // rpmShowProgress takes its flags in the place of a pointer.
    constexpr std::uintptr_t display = INSTALL_LABEL | INSTALL_HASH;
    rpmtsSetNotifyCallback(transactionSet_.get(), rpmShowProgress, reinterpret_cast<void *>(display));
}

void Transaction::forEachInstalled(const std::function<void(const Reader &)> &callback) const {
    const std::shared_ptr<rpmdbMatchIterator_s> packages(
        rpmtsInitIterator(transactionSet_.get(), RPMDBI_PACKAGES, nullptr, 0), rpmdbFreeIterator);
    while (Header header = rpmdbNextIterator(packages.get()))
        callback(Reader(header));
}

void Transaction::addErase(const Reader &package) {
    if (rpmtsAddEraseElement(transactionSet_.get(), package.header(), 0) != 0)
        throw Error(ErrorCode::Internal, "Couldn't add erase element to the RPM transaction");
}

void Transaction::run() {
    if (rpmtsRun(transactionSet_.get(), nullptr, RPMPROB_FILTER_NONE) < 0)
        throw Error(ErrorCode::Internal, "Couldn't run rpm transaction");
}

} // namespace Common::Rpm
