#include "kelp/core/kelp/take-over/record-erasure.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/rpm/transaction.h"

namespace Core::KELP {

namespace {

using Common::Rpm::Reader;
using Common::Rpm::Transaction;

template<class Step>
void unlessItRaises(const Step &step) {
    try {
        step();
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Error) << error;
    }
}

void run(Transaction &rpm, const std::set<std::uint32_t> &instances) {
    try {
        rpm.forEachInstalled([&](const Reader &reader) {
            if (instances.contains(Common::Rpm::databaseInstance(reader)))
                unlessItRaises([&] { rpm.addErase(reader); });
        });
        rpm.runOnDatabaseAlone();
    } catch (...) {
        // Drops the erasures added before the failure: the next run is another group's.
        rpm.forgetErasures();
        throw;
    }
}

} // namespace

std::set<std::uint32_t> forgetRecords(Transaction &rpm, const std::set<std::uint32_t> &instances) {
    if (instances.empty())
        return {};
    unlessItRaises([&] { run(rpm, instances); });
    std::set<std::uint32_t> left;
    for (const std::uint32_t instance : instances)
        if (rpm.lookUp(instance) != Transaction::Record::Gone)
            left.insert(instance);
    return left;
}

} // namespace Core::KELP
