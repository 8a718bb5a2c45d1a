// The least that librpm itself takes, for a comparison of memory: walks the machine's rpm database, has it
// forget the packages whose names it is given, and does nothing else.

#include <rpm/rpmdb.h>
#include <rpm/rpmfiles.h>
#include <rpm/rpmlib.h>
#include <rpm/rpmts.h>

#include <memory>
#include <set>
#include <string>

namespace {

void walk(rpmts transactionSet, const std::set<std::string> &names) {
    const std::unique_ptr<rpmdbMatchIterator_s, decltype(&rpmdbFreeIterator)> packages(
        rpmtsInitIterator(transactionSet, RPMDBI_PACKAGES, nullptr, 0), rpmdbFreeIterator);
    while (Header header = rpmdbNextIterator(packages.get())) {
        const std::unique_ptr<rpmfiles_s, decltype(&rpmfilesFree)> files(rpmfilesNew(nullptr, header, 0, 0),
                                                                         rpmfilesFree);
        if (names.contains(headerGetString(header, RPMTAG_NAME)))
            rpmtsAddEraseElement(transactionSet, header, 0);
    }
}

int forget(const std::set<std::string> &names) {
    const std::unique_ptr<rpmts_s, decltype(&rpmtsFree)> transactionSet(rpmtsCreate(), rpmtsFree);
    walk(transactionSet.get(), names);
    rpmtsSetFlags(transactionSet.get(), RPMTRANS_FLAG_JUSTDB | RPMTRANS_FLAG_NOPLUGINS);
    return rpmtsRun(transactionSet.get(), nullptr, RPMPROB_FILTER_NONE);
}

} // namespace

int main(int count, char *arguments[]) {
    rpmReadConfigFiles(nullptr, nullptr);
    return forget({arguments + 1, arguments + count});
}
